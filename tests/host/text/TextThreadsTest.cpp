// Engines on several threads at once, from their opening on.
#include <gtest/gtest.h>

#include <deque>

#include "contracts/Core/Thread.h"
#include "tests/host/text/TextSupport.h"
#include "tests/support/Builders.h"
#include "tests/support/Gate.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;

std::vector<Drawing> DrawSome() {
    auto const engine = MakeEngine(PlainHeader(), {Line("some words"), Line("{\\fnDejaVu Serif\\b1}other \u05D0\u0628"),
                                                   Line("0:00:02.00", "0:00:04.00", "{\\fad(500,0)\\blur3}words")});
    std::vector<Drawing> drawings;
    for (int64 const time : {1500, 2100, 2200, 3500}) drawings.push_back(DrawText(*engine, time));
    return drawings;
}

TEST(TextThreads, EnginesOpenAndDrawSideBySide) {
    auto const expected = DrawSome();
    constexpr int THREADS = 4;
    Gate gate;
    gate.Close();
    std::vector<std::vector<Drawing>> drawings(THREADS);
    {
        std::deque<Core::Thread> threads;
        for (auto& mine : drawings)
            threads.emplace_back([&gate, &mine] {
                gate.Pass();
                mine = DrawSome();
            });
        gate.AwaitArrivals(THREADS);
        gate.Open();
        for (auto& thread : threads) thread.Join();
    }
    for (auto const& mine : drawings) {
        ASSERT_EQ(mine.size(), expected.size());
        for (std::size_t i = 0; i < mine.size(); ++i) EXPECT_TRUE(AreSame(mine[i], expected[i])) << i;
    }
}

TEST(TextThreads, AnEngineMayBeHandedOn) {
    auto const engine = MakeEngine(PlainHeader(), {Line("words")});
    Drawing first, second;
    Core::Thread([&] { first = DrawText(*engine, 1500); }).Join();
    Core::Thread([&] { second = DrawText(*engine, 1600); }).Join();
    EXPECT_NE(first.picture, nullptr);
    EXPECT_EQ(second.picture, first.picture);
}

TEST(TextThreads, OneFactoryServesAllThreads) {
    auto const factory = MakeOverlayFactory();
    Gate gate;
    gate.Close();
    std::vector<iptr<ITextEngine>> engines(3);
    {
        std::deque<Core::Thread> threads;
        for (auto& engine : engines)
            threads.emplace_back([&gate, &engine, &factory] {
                gate.Pass();
                engine = factory->CreateTextEngine("", {});
            });
        gate.AwaitArrivals(3);
        gate.Open();
        for (auto& thread : threads) thread.Join();
    }
    for (auto const& engine : engines) {
        ASSERT_NE(engine, nullptr);
        engine->AddTextLine(Line("words"));
        EXPECT_NE(DrawText(*engine, 1500).picture, nullptr);
    }
}

}  // namespace
}  // namespace Tarsel::Host
