// What may come from another thread while a chain is being read. Gates hold the read; nothing here waits for time to
// pass.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "contracts/Proc/MultiEffect.h"
#include "tests/Proc/FilterApplyEffectsSupport.h"
#include "tests/support/Gate.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

template <class Kind>
class FilterApplyEffectsThreads : public ChainTest<Kind> {
  protected:
    using Item = typename ChainTest<Kind>::Item;

    FilterApplyEffectsThreads() : filter(this->MakeFilter(3)) {
        filter->AddEffect(NamedSettings("A"));
        this->Calls();
    }
    /// Reads on a thread of its own up to the source, runs `meanwhile` here, then lets the read through.
    template <class Meanwhile>
    Item ReadWith(Meanwhile meanwhile) {
        Item item;
        auto const gate = std::make_shared<Gate>();
        this->source->gate = gate;
        gate->Close();
        std::thread reader([&] { item = filter->Read(); });
        gate->AwaitArrivals(1);
        meanwhile();
        gate->Open();
        reader.join();
        this->source->gate = nullptr;
        return item;
    }

    iptr<typename Kind::Filter> const filter;
};
TYPED_TEST_SUITE(FilterApplyEffectsThreads, ChainKinds);

TYPED_TEST(FilterApplyEffectsThreads, ChainIsReplacedWhileTheReaderWaitsOnTheSource) {
    auto const item = this->ReadWith([&] { this->filter->Initialize(this->ChainOf({"B", "C"})); });
    EXPECT_NE(item, nullptr);
    EXPECT_THAT(this->Calls(), ElementsAre("B/Default: Initialize property B", "C/Default: Initialize property C",
                                           "B/Default: Process 0", "C/Default: Process 0"));
    EXPECT_THAT(this->source->log.Take(), ElementsAre("Read")) << "nothing is released under a read";
    EXPECT_EQ(this->effects.made[0]->GetRefCountImpl(), 1U);
}

TYPED_TEST(FilterApplyEffectsThreads, ChainIsClearedWhileTheReaderWaitsOnTheSource) {
    auto const item = this->ReadWith([&] { this->filter->ClearEffects(); });
    EXPECT_EQ(item.get(), this->source->delivered[0]);
    EXPECT_THAT(this->Calls(), IsEmpty());
    EXPECT_THAT(this->source->log.Take(), ElementsAre("Read"));
    this->filter->ClearEffects();
    EXPECT_THAT(this->source->log.Take(), ElementsAre("ReleaseInternalData")) << "behind the read it is a whole clear";
}

TYPED_TEST(FilterApplyEffectsThreads, SettingsObjectsReplaceTheChainInTheSamePlace) {
    this->ReadWith([&] { this->filter->Initialize(NamedSettings("B")); });
    EXPECT_THAT(this->Calls(), ElementsAre("B/Default: Initialize settings B", "B/Default: Process 0"));
}

TYPED_TEST(FilterApplyEffectsThreads, EffectsAreAddedAndToldOfWhileTheReaderWaitsOnTheSource) {
    this->ReadWith([&] {
        this->filter->AddEffect(NamedSettings("B"));
        this->filter->AddEffect(Core::Property("C"), ImplNames::DEFAULT);
        this->filter->AddEffect(SettingsMultiEffect().Add(NamedSettings("A")));
        EXPECT_EQ(this->filter->GetSettings(), this->ChainOf({"A", "B", "C", "A"}));
        EXPECT_NE(this->filter->GetFormatCodec(), nullptr);
        EXPECT_EQ(this->filter->GetStatistic().Children().size(), 2U);
        Visitors::InfoCollector names;
        this->filter->Accept(names);
        EXPECT_EQ(names.names.size(), 2U);
        this->Calls();
    });
    EXPECT_THAT(this->Calls(), ElementsAre("A/Default: Process 0", "B/Default: Process 0", "C/Default: Process 0",
                                           "A/Default: Process 0"));
}

TYPED_TEST(FilterApplyEffectsThreads, FailedReplacementLeavesTheChainToTheReader) {
    this->ReadWith([&] { EXPECT_THROW(this->filter->Initialize(NamedSettings("Unknown")), FilterEffectException); });
    EXPECT_THAT(this->Calls(), ElementsAre("A/Default: Process 0"));
}

TYPED_TEST(FilterApplyEffectsThreads, EndFromTheHostComesThroughWhileTheReaderWaits) {
    auto const item = this->ReadWith([&] { this->filter->SetEndOfStream(); });
    EXPECT_EQ(item, nullptr);
    EXPECT_THAT(this->Calls(), IsEmpty());
}

TYPED_TEST(FilterApplyEffectsThreads, ChainIsNeverReplacedDuringAnEffect) {
    for (int round = 0; round < 30; ++round) {
        Seek(*this->filter, 0);
        this->filter->Initialize(this->ChainOf({"A"}));
        Gate inEffect;
        Gate atClear;
        auto& effect = *this->effects.made.back();
        effect.onProcess = [&](auto item) {
            inEffect.Pass();
            this->effects.log->Add("effect ends");
            return item;
        };
        this->Calls();
        inEffect.Close();
        std::thread reader([&] { this->filter->Read(); });
        inEffect.AwaitArrivals(1);
        std::thread other([&] {
            atClear.Pass();
            if (round % 2 == 0)
                this->filter->ClearEffects();
            else
                this->filter->Initialize(this->ChainOf({"B"}));
            this->effects.log->Add("replaced");
        });
        atClear.AwaitArrivals(1);
        // Lets the other thread run into the lock; the order must hold however far it gets.
        for (int i = 0; i < 100; ++i) std::this_thread::yield();
        inEffect.Open();
        reader.join();
        other.join();
        auto const calls = this->Calls();
        auto const end = std::find(calls.begin(), calls.end(), "effect ends");
        ASSERT_NE(end, calls.end());
        EXPECT_EQ(std::find(calls.begin(), end, "replaced"), end) << "round " << round;
        effect.onProcess = nullptr;
    }
}

TYPED_TEST(FilterApplyEffectsThreads, ReleaseDuringAReadWaitsForItsEnd) {
    Gate started;
    std::thread other;
    this->ReadWith([&] {
        other = std::thread([&] {
            started.Pass();
            this->filter->ReleaseInternalData();
        });
        started.AwaitArrivals(1);
        for (int i = 0; i < 100; ++i) std::this_thread::yield();
        EXPECT_THAT(this->source->log.Take(), ElementsAre("Read"));
        EXPECT_THAT(this->Calls(), IsEmpty());
    });
    other.join();
    EXPECT_THAT(this->Calls(), ElementsAre("A/Default: Process 0", "A/Default: Reset"));
    EXPECT_THAT(this->source->log.Take(), ElementsAre("ReleaseInternalData"));
}

TYPED_TEST(FilterApplyEffectsThreads, ManyChangesBesideAReaderComeToAnEndAndNoItemIsLost) {
    auto const stream = this->MakeFilter(400);
    std::atomic<bool> done{false};
    std::thread editor([&] {
        for (int i = 0; !done; ++i) {
            switch (i % 5) {
                case 0:
                    stream->Initialize(this->ChainOf({"B", "C"}));
                    break;
                case 1:
                    stream->AddEffect(NamedSettings("A"));
                    break;
                case 2:
                    stream->GetSettings();
                    break;
                case 3:
                    stream->GetFormatCodec();
                    break;
                default:
                    stream->ClearEffects();
            }
        }
    });
    auto const items = ReadAll(*stream);
    done = true;
    editor.join();
    ASSERT_EQ(items.size(), 400U);
    for (std::size_t i = 0; i < items.size(); ++i) EXPECT_EQ(items[i].get(), this->source->delivered[i]);
}

}  // namespace
}  // namespace Tarsel::Proc
