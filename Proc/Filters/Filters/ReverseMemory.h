#pragma once

#include "contracts/Core/Types.h"

namespace Tarsel::Proc {

/// The memory that the waiting pictures of all reversed streams of the process take together, and its limit. From any
/// thread.
class ReverseMemory {
  public:
    /// A picture's part of it: counted from construction to destruction, so that no way out can forget to give it back.
    class Share {
      public:
        Share() = default;
        explicit Share(int64 bytes);
        Share(Share&& other) noexcept;
        Share& operator=(Share&& other) noexcept;
        ~Share() { Release(); }

        int64 GetBytes() const { return bytes; }
        /// Gives the bytes back at once.
        void Release() noexcept;

      private:
        int64 bytes = 0;
    };

    static int64 GetUsed();
    static int64 GetLimit();
    /// The last word counts, whoever says it: every filter says its own at each use.
    static void SetLimit(int64 bytes);
    static bool IsFull() { return GetUsed() >= GetLimit(); }
};

}  // namespace Tarsel::Proc
