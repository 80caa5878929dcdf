#pragma once

#include <array>
#include <streambuf>
#include <string>
#include <string_view>

namespace Tarsel::Proc {

// Files of records by UTF-8 name. All failures are `Core::IOException`, with a text that leaves the name out.

namespace Details {

/// An open file; closed at the end of its life.
class FileDescriptor {
  public:
    explicit FileDescriptor(int descriptor) : descriptor(descriptor) {}
    ~FileDescriptor();
    FileDescriptor(FileDescriptor const&) = delete;
    FileDescriptor& operator=(FileDescriptor const&) = delete;

    int Get() const { return descriptor; }
    /// Closes it now. What `close` gives: 0, or -1 with the reason in `errno`.
    int Close();

  private:
    int descriptor;
};

}  // namespace Details

/// A file to be read from its beginning, piece by piece.
class RecordSource : public std::streambuf {
  public:
    explicit RecordSource(std::string const& name);

  protected:
    int_type underflow() override;

  private:
    Details::FileDescriptor file;
    std::array<char, 65536> piece;
};

/// A file to be written. Until `Commit` it stands beside the target under another name, so that a failure leaves what
/// was there; a target that is no regular file (a device, a pipe), or a partial file itself
/// ("...tarsel-part"), is written to directly.
class RecordTarget {
  public:
    explicit RecordTarget(std::string const& name);
    /// Without `Commit` nothing is left behind.
    ~RecordTarget();
    RecordTarget(RecordTarget const&) = delete;
    RecordTarget& operator=(RecordTarget const&) = delete;

    void Write(std::string_view text);
    /// Puts the file in its place. Nothing can be written afterwards.
    void Commit();

  private:
    struct Place {
        std::string target;
        std::string partial;  // empty: the target itself is written
        int descriptor;
    };
    static Place Open(std::string const& name);
    explicit RecordTarget(Place place);

    void Flush();

    std::string const target;
    std::string partial;
    Details::FileDescriptor file;
    std::string pending;
};

}  // namespace Tarsel::Proc
