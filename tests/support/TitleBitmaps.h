#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "Proc/Filters/Filters/TitleProviderFromBitmap.h"
#include "tests/support/ScriptedEngines.h"
#include "tests/support/Titles.h"

namespace Tarsel::Test {

inline std::vector<u8> const WHITE{255, 255, 255, 255};
inline std::vector<u8> const HALF_WHITE{255, 255, 255, 128};

/// The same pixel so many times.
inline std::vector<int> Times(int count, std::vector<int> const& pixel) {
    std::vector<int> bytes;
    for (int i = 0; i < count; ++i) bytes.insert(bytes.end(), pixel.begin(), pixel.end());
    return bytes;
}

/// A provider over a scripted resizer.
class BitmapTitles : public ::testing::Test {
  protected:
    BitmapTitles() {
        ScriptedEffectFactory effects;
        effects.onCreate = [this](auto const& classId, auto const& implName) -> iptr<Proc::IEffect> {
            resizerName = classId + "/" + implName;
            return resizer;
        };
        provider = MakeShared<Proc::TitleProviderFromBitmap>(effects);
    }
    iptr<Proc::IDataVideo> At(int64 time) { return provider->GetOverlay(time, info, crop); }

    iptr<ScriptedResizer> const resizer = MakeShared<ScriptedResizer>();
    std::string resizerName;
    iptr<Proc::TitleProviderFromBitmap> provider;
    Conf::FrameInfo info{100, 100, 1, 1};
    Proc::CropInfo crop;
};

/// A subtitle whose event lies at the first free place of a pool, as memory that has been freed is given again.
class PooledSubtitle final : public BorrowedSubtitle {
  public:
    class Pool {
      public:
        AVSubtitle* Take() {
            if (free.empty()) {
                all.push_back(std::make_unique<AVSubtitle>());
                return all.back().get();
            }
            AVSubtitle* const place = *free.begin();
            free.erase(free.begin());
            return place;
        }
        void Give(AVSubtitle* place) {
            avsubtitle_free(place);
            free.insert(place);
        }

      private:
        std::vector<std::unique_ptr<AVSubtitle>> all;
        std::set<AVSubtitle*> free;
    };

    /// The pool outlives it.
    PooledSubtitle(Pool& from, int64 time, int64 duration, TitleRect const& rect)
        : BorrowedSubtitle(from.Take(), time, duration), pool(from) {
        *GetAVSubtitle() = MakeEvent({rect});
    }
    ~PooledSubtitle() override { pool.Give(GetAVSubtitle()); }

  private:
    Pool& pool;
};

}  // namespace Tarsel::Test
