#include "host/media/LibavLog.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "host/media/FFmpeg.h"

namespace Tarsel::Tests {
namespace {

using namespace Tarsel::Host;

TEST(LibavLog, CountsErrorsAndWarningsOfItsContextOnly) {
    LibavLogWatch watch;
    LibavLogWatch other;
    CodecContextPtr const context(avcodec_alloc_context3(nullptr));
    CodecContextPtr const stranger(avcodec_alloc_context3(nullptr));
    int notAWatch = 0;
    stranger->opaque = &notAWatch;
    watch.Attach(*context);
    av_log(context.get(), AV_LOG_ERROR, "first %d\n", 1);
    av_log(context.get(), AV_LOG_ERROR, "second\n");
    av_log(context.get(), AV_LOG_WARNING, "third\n");
    av_log(context.get(), AV_LOG_INFO, "not counted\n");
    av_log(stranger.get(), AV_LOG_ERROR, "of another owner\n");
    av_log(nullptr, AV_LOG_ERROR, "of nobody\n");
    EXPECT_EQ(watch.GetErrorCount(), 2U);
    EXPECT_EQ(watch.GetWarningCount(), 1U);
    EXPECT_NE(watch.GetFirstError().find("first 1"), std::string::npos);
    EXPECT_NE(watch.GetLastText().find("third"), std::string::npos);
    EXPECT_EQ(other.GetErrorCount() + other.GetWarningCount(), 0U);
}

TEST(LibavLog, LineInPiecesCountsOnce) {
    LibavLogWatch watch;
    CodecContextPtr const context(avcodec_alloc_context3(nullptr));
    watch.Attach(*context);
    av_log(context.get(), AV_LOG_ERROR, "one ");
    EXPECT_EQ(watch.GetErrorCount(), 0U);
    av_log(context.get(), AV_LOG_ERROR, "line\n");
    EXPECT_EQ(watch.GetErrorCount(), 1U);
    EXPECT_NE(watch.GetFirstError().find("one line"), std::string::npos);
}

TEST(LibavLog, QuietWatchCountsNothing) {
    LibavLogWatch watch;
    CodecContextPtr const context(avcodec_alloc_context3(nullptr));
    watch.Attach(*context);
    watch.SetQuiet(true);
    av_log(context.get(), AV_LOG_ERROR, "hidden\n");
    EXPECT_EQ(watch.GetErrorCount(), 0U);
    watch.SetQuiet(false);
    av_log(context.get(), AV_LOG_ERROR, "seen\n");
    EXPECT_EQ(watch.GetErrorCount(), 1U);
}

TEST(LibavLog, ContextThatOutlivesItsWatchIsNotFollowed) {
    CodecContextPtr const context(avcodec_alloc_context3(nullptr));
    {
        LibavLogWatch watch;
        watch.Attach(*context);
    }
    av_log(context.get(), AV_LOG_ERROR, "nobody listens\n");
}

TEST(LibavLog, ThreadsCountTogether) {
    LibavLogWatch watch;
    CodecContextPtr const context(avcodec_alloc_context3(nullptr));
    watch.Attach(*context);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int n = 0; n < 50; ++n) av_log(context.get(), AV_LOG_WARNING, "line %d\n", n);
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(watch.GetWarningCount(), 200U);
}

}  // namespace
}  // namespace Tarsel::Tests
