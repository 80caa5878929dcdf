#include "host/timeline/MediaPath.h"

#include <gtest/gtest.h>

#include <string>

namespace Tarsel::Host {
namespace {

TEST(MediaPath, AUrlOfAFileIsItsPath) {
    struct Case {
        char const* url;
        char const* path;
    };
    for (Case const& sample : {
             Case{"file:///media/a.mp4", "/media/a.mp4"},
             Case{"file:///media/a%20b%C3%A4%2Fc.mp4", "/media/a b\xC3\xA4/c.mp4"},
             Case{"FILE:///media/a.mp4", "/media/a.mp4"},
             Case{"file://localhost/media/a.mp4", "/media/a.mp4"},
             Case{"file:/media/a.mp4", "/media/a.mp4"},
             Case{"file:clips/a.mp4", "clips/a.mp4"},
             Case{"clips/a.mp4", "clips/a.mp4"},
             Case{"./a%20b.mp4", "./a b.mp4"},
             Case{"/media/a.mp4", "/media/a.mp4"},
             Case{"a:b.mp4", "a:b.mp4"},
             Case{"take 1: the end.mp4", "take 1: the end.mp4"},
             Case{"100%.mp4", "100%.mp4"},
             Case{"100%4", "100%4"},
             Case{"100%zz%41", "100%zzA"},
             Case{"a?b#c.mp4", "a?b#c.mp4"},
         }) {
        MediaPath const media = PathOfUrl(sample.url);
        EXPECT_EQ(media.path, sample.path) << sample.url;
        EXPECT_EQ(media.problem, "") << sample.url;
    }
}

TEST(MediaPath, WhatIsNoFileOfThisSystemIsNamed) {
    struct Case {
        char const* url;
        char const* problem;
    };
    for (Case const& sample : {
             Case{"", "it names no file"},
             Case{"file://", "it names no file"},
             Case{"file://localhost", "it names no file"},
             Case{"a%00b", "the name of its file has a byte 0 in it"},
             Case{"C:\\clips\\a.mp4", "its file \"C:\\clips\\a.mp4\" is on a drive of another system"},
             Case{"c:/clips/a.mp4", "its file \"c:/clips/a.mp4\" is on a drive of another system"},
             Case{"file:///C:/clips/a%20b.mp4", "its file \"C:/clips/a b.mp4\" is on a drive of another system"},
             Case{"file:///C|/a.mp4", "its file \"C|/a.mp4\" is on a drive of another system"},
             Case{"file://C:/a.mp4", "its file \"C:/a.mp4\" is on a drive of another system"},
             Case{"\\\\server\\share\\a.mp4", "its file \"\\\\server\\share\\a.mp4\" is on a network share"},
             Case{"file://server/a.mp4", "its media \"file://server/a.mp4\" is on another computer, \"server\""},
             Case{"https://example.org/a.mp4", "its media \"https://example.org/a.mp4\" is no file"},
             Case{"s3://bucket/a.mp4", "its media \"s3://bucket/a.mp4\" is no file"},
         }) {
        MediaPath const media = PathOfUrl(sample.url);
        EXPECT_EQ(media.problem, sample.problem) << sample.url;
        EXPECT_EQ(media.path, "") << sample.url;
    }
}

}  // namespace
}  // namespace Tarsel::Host
