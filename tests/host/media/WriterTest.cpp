#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "contracts/Core/Exception.h"
#include "host/media/MediaFile.h"
#include "host/media/MediaWriter.h"
#include "tests/host/media/ReadBack.h"
#include "tests/support/TestMedia.h"

using namespace Tarsel;
using namespace Tarsel::Host;
using namespace Tarsel::Test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::string CreateFailure(std::string const& path, MediaWriter::Options const& options = {}) {
    try {
        MediaWriter::Create(path, options);
    } catch (Core::IOException const& failure) {
        return failure.what();
    }
    return "created";
}

void Store(std::string const& path, std::string const& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

std::string Load(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// The child's exit status.
template <class F>
int InChild(F run) {
    pid_t const child = fork();
    if (child == 0) {
        run();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

}  // namespace

TEST(Writer, UnknownAndUnwritableExtensionsAreNamed) {
    ScratchFolder const folder;
    EXPECT_EQ(CreateFailure(folder / "a.xyz"), folder / "a.xyz: there is no container for the extension \".xyz\"");
    EXPECT_EQ(CreateFailure(folder / "a"), folder / "a: the name has no extension to tell the container");
    for (char const* const name : {"a.mpg", "a.vob", "a.MPEG"})
        EXPECT_EQ(CreateFailure(folder / name), folder / name + ": PS is read, not written: use .ts or .mkv");
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST(Writer, MissingFolderIsNamed) {
    ScratchFolder const folder;
    EXPECT_EQ(CreateFailure(folder / "none/a.mp4"),
              folder / "none/a.mp4: the folder " + folder.GetPath() + "/none doesn't exist");
}

TEST(Writer, ExistingTargetIsKeptUnlessForced) {
    ScratchFolder const folder;
    Store(folder / "a.mp4", "old");
    EXPECT_EQ(CreateFailure(folder / "a.mp4"), folder / "a.mp4: exists already");
    EXPECT_EQ(Load(folder / "a.mp4"), "old");
    EXPECT_EQ(CreateFailure(folder / "a.mp4", {true, {}}), "created");
    EXPECT_EQ(Load(folder / "a.mp4"), "old") << "replaced ahead of success";
    EXPECT_THAT(folder.List(), ElementsAre("a.mp4"));
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("aac.m4a"));
    iptr<MediaWriter> const writer = MediaWriter::Create(folder / "a.mp4", {true, {}});
    CopyAll(*file, *writer);
    EXPECT_THAT(folder.List(), ElementsAre("a.mp4"));
    EXPECT_EQ(ReadBack(folder / "a.mp4").at(0).size(), file->GetIndex(0).GetCount());
}

TEST(Writer, TargetThatComesUpMeanwhileIsKept) {
    ScratchFolder const folder;
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("aac.m4a"));
    iptr<MediaWriter> const writer = MediaWriter::Create(folder / "a.m4a", {});
    Store(folder / "a.m4a", "somebody else's");
    EXPECT_THROW(CopyAll(*file, *writer), Core::IOException);
    EXPECT_EQ(Load(folder / "a.m4a"), "somebody else's");
    EXPECT_THAT(folder.List(), ElementsAre("a.m4a"));
}

TEST(Writer, InputUnderAnotherNameIsRefused) {
    ScratchFolder const folder;
    std::string const input = folder / "in.mp4";
    std::filesystem::copy_file(TestMedia("aac.m4a"), input);
    std::filesystem::create_symlink(input, folder / "soft.mp4");
    std::filesystem::create_hard_link(input, folder / "hard.mp4");
    std::string const before = Load(input);
    for (char const* const name : {"in.mp4", "soft.mp4", "hard.mp4"})
        EXPECT_EQ(CreateFailure(folder / name, {true, {input}}), folder / name + ": is the input " + input + " itself");
    EXPECT_EQ(Load(input), before);
    EXPECT_EQ(folder.List().size(), 3u);
}

TEST(Writer, FoldersAndDevicesAreNoTargets) {
    ScratchFolder const folder;
    std::filesystem::create_directory(folder / "d.mp4");
    EXPECT_EQ(CreateFailure(folder / "d.mp4", {true, {}}), folder / "d.mp4: is a folder");
    std::filesystem::create_symlink("/dev/full", folder / "full.mp4");
    EXPECT_EQ(CreateFailure(folder / "full.mp4", {true, {}}), folder / "full.mp4: is not a regular file");
}

TEST(Writer, ForcedLinkReplacesWhatItPointsTo) {
    ScratchFolder const folder;
    std::filesystem::create_directory(folder / "sub");
    Store(folder / "sub/real.m4a", "old");
    std::filesystem::create_symlink(folder / "sub/real.m4a", folder / "link.m4a");
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("aac.m4a"));
    CopyAll(*file, *MediaWriter::Create(folder / "link.m4a", {true, {}}));
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link.m4a"));
    EXPECT_NE(Load(folder / "sub/real.m4a"), "old");
}

TEST(Writer, AbandonedWriterLeavesNothing) {
    ScratchFolder const folder;
    {
        iptr<MediaFile> const file = MediaFile::Open(TestMedia("h264.mp4"));
        iptr<MediaWriter> const writer = MediaWriter::Create(folder / "a.mp4", {});
        ASSERT_EQ(folder.List().size(), 1u);
        EXPECT_THAT(folder.List()[0], testing::MatchesRegex("\\.a\\.mp4\\.......\\.tarsel-part"));
        int const slot = writer->AddStream(*file->GetStreams()[0].format, StreamKind::Video, nullptr);
        writer->Begin();
        iptr<Proc::IStreamRaw> const stream = file->OpenStream(0);
        for (int i = 0; i < 20; ++i) writer->Write(slot, *stream->Read());
    }
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST(Writer, NewFileHasThePermissionsOfAPlainOne) {
    ScratchFolder const folder;
    mode_t const mask = umask(027);
    CopyFile(TestMedia("aac.m4a"), folder / "a.m4a");
    umask(mask);
    struct stat status {};
    ASSERT_EQ(stat((folder / "a.m4a").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0640u);
}

TEST(Writer, FullDiskIsNamedAndLeavesNothing) {
    ScratchFolder const folder;
    // A limit on the size of files fails a write in its middle as a full disk does.
    for (char const* const clip : {"h264.mp4", "h264.mkv", "h264.ts"}) {
        SCOPED_TRACE(clip);
        std::string const source = TestMedia(clip);
        iptr<MediaFile> const file = MediaFile::Open(source);
        file->GetDuration();
        for (rlim_t const limit : {rlim_t{0}, rlim_t{1000}, rlim_t{60000}}) {
            int const status = InChild([&] {
                signal(SIGXFSZ, SIG_IGN);
                rlimit const size{limit, limit};
                setrlimit(RLIMIT_FSIZE, &size);
                std::string const target = folder / clip;
                try {
                    CopyAll(*file, *MediaWriter::Create(target, {}));
                } catch (Core::IOException const& failure) {
                    std::string const text = failure.what();
                    _exit(text.starts_with(target + ": ") && text.find("File too large") != std::string::npos ? 3 : 4);
                }
            });
            EXPECT_EQ(status, 3) << "limit " << limit;
            EXPECT_THAT(folder.List(), IsEmpty());
        }
    }
}

TEST(Writer, FullDiskAtTheVeryEndIsNamedAndLeavesNothing) {
    for (char const* const clip : {"h264.mp4", "h264.mkv", "h264.ts", "mpeg4.avi"}) {
        SCOPED_TRACE(clip);
        iptr<MediaFile> const file = MediaFile::Open(TestMedia(clip));
        file->GetDuration();
        ScratchFolder const whole;
        CopyAll(*file, *MediaWriter::Create(whole / clip, {}));
        std::uintmax_t const size = std::filesystem::file_size(whole / clip);
        ScratchFolder const folder;
        std::string const target = folder / clip;
        int const status = InChild([&] {
            signal(SIGXFSZ, SIG_IGN);
            rlimit const limit{size - 1, size - 1};
            setrlimit(RLIMIT_FSIZE, &limit);
            try {
                CopyAll(*file, *MediaWriter::Create(target, {}));
            } catch (Core::IOException const& failure) {
                std::string const text = failure.what();
                _exit(text.starts_with(target + ": ") && text.find("File too large") != std::string::npos ? 3 : 4);
            }
        });
        EXPECT_EQ(status, 3);
        EXPECT_THAT(folder.List(), IsEmpty());
    }
}

TEST(Writer, FullFileSystemIsNamedAndLeavesNothing) {
    ScratchFolder const folder;
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("h264.mp4"));
    file->GetDuration();
    std::string const target = folder / "a.mp4";
    // 3: the failure is named and nothing is left; 4: another text; 5: something is left.
    int const status = InChild([&] {
        // Where no file system can be mounted, a limit on the size of files stands in for it.
        bool const own = unshare(CLONE_NEWNS) == 0 && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                         mount("tmpfs", folder.GetPath().c_str(), "tmpfs", 0, "size=64k") == 0;
        if (!own) {
            signal(SIGXFSZ, SIG_IGN);
            rlimit const limit{65536, 65536};
            setrlimit(RLIMIT_FSIZE, &limit);
        }
        try {
            CopyAll(*file, *MediaWriter::Create(target, {}));
        } catch (Core::IOException const& failure) {
            std::string const text = failure.what();
            char const* const reason = own ? "No space left on device" : "File too large";
            if (!text.starts_with(target + ": ") || text.find(reason) == std::string::npos) _exit(4);
            _exit(folder.List().empty() ? 3 : 5);
        }
    });
    EXPECT_EQ(status, 3);
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST(Writer, FolderWithoutWritePermissionIsNamed) {
    ScratchFolder const folder;
    std::string const locked = folder / "locked";
    std::filesystem::create_directory(locked);
    std::filesystem::permissions(locked, std::filesystem::perms(0555));
    std::string const target = locked + "/a.mp4";
    int const status = InChild([&] {
        // Root may write everywhere: become somebody else.
        if (geteuid() == 0 && setuid(65534) != 0) _exit(6);
        _exit(CreateFailure(target) == target + ": can't be written: Permission denied" ? 3 : 4);
    });
    EXPECT_EQ(status, 3);
    EXPECT_TRUE(std::filesystem::is_empty(locked));
}

TEST(Writer, LongestNamesAreWrittenAndLongerOnesRefusedAtOnce) {
    ScratchFolder const folder;
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("aac.m4a"));
    std::string umlauts;
    for (int i = 0; i < 125; ++i) umlauts += "\xC3\xA4";
    for (std::string const& name : {std::string(251, 'a') + ".m4a", "b" + umlauts + ".m4a", umlauts + "b.m4a",
                                    std::string(230, 'c') + ".m4a", std::string(231, 'd') + ".m4a"}) {
        SCOPED_TRACE(name);
        {
            iptr<MediaWriter> const writer = MediaWriter::Create(folder / name, {});
            std::string const partial = std::filesystem::path(writer->GetPartialPath()).filename().string();
            EXPECT_LE(partial.size(), 255u);
            EXPECT_THAT(partial, testing::EndsWith(".tarsel-part"));
            std::string const kept = partial.substr(1, partial.size() - 20);
            EXPECT_EQ(name.substr(0, kept.size()), kept);
            // A character of two bytes is kept whole or not at all.
            if (kept.size() < name.size()) {
                EXPECT_NE(static_cast<unsigned char>(name[kept.size()]) & 0xC0, 0x80);
            }
            CopyAll(*file, *writer);
        }
        EXPECT_THAT(folder.List(), testing::ElementsAre(name));
        EXPECT_EQ(MediaFile::Open(folder / name)->GetIndex(0).GetCount(), file->GetIndex(0).GetCount());
        std::filesystem::remove(folder / name);
    }
    std::string const over = folder / (std::string(252, 'a') + ".m4a");
    EXPECT_EQ(CreateFailure(over), over + ": the name is too long: 256 bytes, at most 255 can be");
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST(Writer, SpacesAndOtherScriptsInPathsAreKept) {
    ScratchFolder const folder;
    std::filesystem::create_directory(folder / "ein Ordner: \xC3\xBC %d");
    std::string const target = folder / "ein Ordner: \xC3\xBC %d/\xE6\x98\xA0 #1 %03d?'\".m4a";
    EXPECT_THAT(CopyFile(TestMedia("aac.m4a"), target), IsEmpty());
    EXPECT_EQ(MediaFile::Open(target)->GetIndex(0).GetCount(),
              MediaFile::Open(TestMedia("aac.m4a"))->GetIndex(0).GetCount());
}

TEST(Writer, SignalHandlerRemovesPartialFiles) {
    ScratchFolder const folder;
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("h264.mp4"));
    int const status = InChild([&] {
        signal(SIGTERM, [](int) {
            RemovePartialFiles();
            _exit(143);
        });
        iptr<MediaWriter> const a = MediaWriter::Create(folder / "a.mp4", {});
        iptr<MediaWriter> const b = MediaWriter::Create(folder / "b.mkv", {});
        a->AddStream(*file->GetStreams()[0].format, StreamKind::Video, nullptr);
        a->Begin();
        if (folder.List().size() != 2) _exit(5);
        raise(SIGTERM);
    });
    EXPECT_EQ(status, 143);
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST(Writer, MisuseIsAnError) {
    ScratchFolder const folder;
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("h264.mp4"));
    iptr<MediaWriter> const writer = MediaWriter::Create(folder / "a.mp4", {});
    EXPECT_THROW(writer->Begin(), Core::IOException);
    EXPECT_THROW(writer->Finish(), Core::IOException);
    int const slot = writer->AddStream(*file->GetStreams()[0].format, StreamKind::Video, nullptr);
    iptr<Proc::IDataPacket> const packet = file->OpenStream(0)->Read();
    EXPECT_THROW(writer->Write(slot, *packet), Core::IOException);
    writer->Begin();
    EXPECT_THROW(writer->Write(7, *packet), Core::IOException);
    EXPECT_THROW(writer->AddStream(*file->GetStreams()[1].format, StreamKind::Audio, nullptr), Core::IOException);
    writer->Write(MediaWriter::NO_SLOT, *packet);
}

TEST(Writer, DecodingTimesAreMadeToRise) {
    ScratchFolder const folder;
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("h264-nob.mp4"));
    iptr<MediaWriter> const writer = MediaWriter::Create(folder / "a.mp4", {});
    int const slot = writer->AddStream(*file->GetStreams()[0].format, StreamKind::Video, nullptr);
    writer->Begin();
    iptr<Proc::IStreamRaw> const stream = file->OpenStream(0);
    int64 last = NO_VALUE;
    for (int i = 0; iptr<Proc::IDataPacket> const packet = stream->Read(); ++i) {
        if (i % 10 == 3) packet->SetDecodingTime(last);  // as at a seam whose two sides have another delay
        last = packet->GetDecodingTime();
        writer->Write(slot, *packet);
    }
    writer->Finish();
    EXPECT_THAT(writer->GetWarnings(), IsEmpty());
    int64 before = NO_VALUE;
    auto const streams = ReadBack(folder / "a.mp4");
    for (RawPacket const& packet : streams.at(0)) {
        EXPECT_GT(packet.dts, before);
        EXPECT_GE(packet.pts, packet.dts);
        before = packet.dts;
    }
    EXPECT_EQ(MediaFile::Open(folder / "a.mp4")->GetIndex(0).GetTimes(), file->GetIndex(0).GetTimes());
}

TEST(Writer, LengthsWhereStartCodesAreWantedAreRefused) {
    ScratchFolder const folder;
    for (char const* const clip : {"h264.mp4", "hevc.mp4"}) {
        iptr<MediaFile> const file = MediaFile::Open(TestMedia(clip));
        StreamInfo const& info = file->GetStreams()[0];
        iptr<MediaWriter> const writer = MediaWriter::Create(folder / "a.ts", {});
        std::string failure;
        try {
            writer->AddStream(*info.format, StreamKind::Video, &info);
        } catch (Core::IOException const& caught) {
            failure = caught.what();
        }
        EXPECT_EQ(failure, folder / "a.ts: stream 0 (video, " + info.codec +
                               "): its packets have lengths where the container wants start codes");
    }
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST(Writer, SourceIsNotChangedByWriting) {
    ScratchFolder const folder;
    // A key packet gets the global header in front.
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("mpeg4.mp4"));
    iptr<MediaWriter> const writer = MediaWriter::Create(folder / "a.ts", {});
    int const slot = writer->AddStream(*file->GetStreams()[0].format, StreamKind::Video, nullptr);
    writer->Begin();
    iptr<Proc::IDataPacket> const packet = file->OpenStream(0)->Read();
    Item const before = ToItem(*packet);
    writer->Write(slot, *packet);
    EXPECT_EQ(ToItem(*packet), before);
}

TEST(Writer, HeaderBytesOfTheFormatWinOverTheContainers) {
    ScratchFolder const folder;
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("h264.mp4"));
    iptr<Conf::IFormatCodec> const changed = file->GetStreams()[0].format->Clone();
    changed->SetExtradata(MediaFile::Open(TestMedia("h264-nob.mp4"))->GetStreams()[0].format->GetExtradata());
    iptr<MediaWriter> const writer = MediaWriter::Create(folder / "a.mp4", {});
    int const slot = writer->AddStream(*changed, StreamKind::Video, nullptr);
    writer->Begin();
    writer->Write(slot, *file->OpenStream(0)->Read());
    writer->Finish();
    iptr<IBlob> const wanted = changed->GetExtradata();
    iptr<IBlob> const got = MediaFile::Open(folder / "a.mp4")->GetStreams()[0].format->GetExtradata();
    ASSERT_EQ(got->GetSize(), wanted->GetSize());
    EXPECT_TRUE(std::equal(got->GetData(), got->GetData() + got->GetSize(), wanted->GetData()));
}
