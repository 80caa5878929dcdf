#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <typeinfo>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IFactories.h"
#include "contracts/Proc/IFilterRepeatController.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsFilterIntroLoopOutro.h"
#include "contracts/Proc/SettingsFilterLoop.h"
#include "contracts/Proc/SettingsFilterRepeat.h"
#include "contracts/Proc/TIFilterRepeat.h"
#include "host/graph/Factories.h"
#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedStream.h"

// The filters that loop and repeat, made by the host through the shared library.
namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;
using ::testing::ElementsAre;

iptr<ScriptedVideo> MakeClip() {
    auto source = ScriptedVideo::Create(MakeVideos(4, 10));
    source->duration = 40;
    return source;
}

TEST(RepeatFactories, LoopsAreMadeWithTheirSettings) {
    auto const factory = MakeFilterFactory();
    auto const video =
        factory->CreateVideo(SettingsFilterLoop::CLASS_ID, ImplNames::TARSEL, MakeClip(), SettingsFilterLoop(55));
    EXPECT_EQ(ReadAll(*video).size(), 6U);
    auto const audio = factory->CreateAudio(SettingsFilterLoop::CLASS_ID, ImplNames::TARSEL,
                                            ScriptedAudio::Create({MakeAudio(0, 480)}), SettingsFilterLoop(15000));
    EXPECT_THAT(ReadAll(*audio), ElementsAre(IsAudio(0, 480), IsAudio(10000, 480)));
}

TEST(RepeatFactories, ClipOfThreeSectionsIsMadeWithItsSettings) {
    SettingsFilterIntroLoopOutro settings(60);
    settings.SetIntroLength(10);
    settings.SetOutroLength(10);
    settings.SetMinLoopCount(1);
    auto const video = MakeFilterFactory()->CreateVideo(SettingsFilterIntroLoopOutro::CLASS_ID, ImplNames::TARSEL,
                                                        MakeClip(), settings);
    EXPECT_THAT(ReadAll(*video), ElementsAre(IsVideo(0, 10), IsVideo(10, 10), IsVideo(20, 10), IsVideo(30, 10),
                                             IsVideo(40, 10), IsVideo(50, 10)));
    settings.SetIntroLength(-1);
    auto const source = MakeClip();
    EXPECT_EQ(MessageOf<FilterException>([&] {
                  MakeFilterFactory()->CreateVideo(SettingsFilterIntroLoopOutro::CLASS_ID, ImplNames::TARSEL, source,
                                                   settings);
              }),
              "Wrong settings!");
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
}

TEST(RepeatFactories, RepeatsAreMadeInBothFormsAndTheFormWithSettingsSetsNoCount) {
    auto const factory = MakeFilterFactory();
    auto const plain = factory->Dedicated(FilterSlots::REPEAT_VIDEO, ImplNames::TARSEL)(MakeClip());
    plain->SetRepeatCount(2);
    EXPECT_THAT(ReadAll(*plain), ElementsAre(IsVideo(0, 10), IsVideo(0, 10)));
    auto const sound =
        factory->Dedicated(FilterSlots::REPEAT_AUDIO, ImplNames::DEFAULT)(ScriptedAudio::Create({MakeAudio(0, 480)}));
    sound->SetRepeatCount(1);
    EXPECT_THAT(ReadAll(*sound), ElementsAre(IsAudio(0, 480)));

    auto const video =
        factory->CreateVideo(SettingsFilterRepeat::CLASS_ID, ImplNames::TARSEL, MakeClip(), SettingsFilterRepeat(2));
    for (int i = 0; i < 100; ++i) ASSERT_THAT(video->Read(), IsVideo(0, 10));
    auto* const counted = dynamic_cast<TIFilterRepeat<IStreamVideoEx, IStreamVideo>*>(video.get());
    ASSERT_NE(counted, nullptr);
    counted->ResetRepeat();
    counted->SetRepeatCount(1);
    EXPECT_THAT(ReadAll(*video), ElementsAre(IsVideo(10, 10)));
    auto const audio = factory->CreateAudio(SettingsFilterRepeat::CLASS_ID, ImplNames::TARSEL,
                                            ScriptedAudio::Create({MakeAudio(0, 480)}), SettingsFilterRepeat());
    EXPECT_THAT(audio->Read(), IsAudio(0, 480));
}

TEST(RepeatFactories, SettingsOfAnotherClassAreRefusedAndTheFilterIsReleased) {
    auto const factory = MakeFilterFactory();
    auto const video = MakeClip();
    auto const audio = ScriptedAudio::Create({});
    for (char const* classId : {SettingsFilterRepeat::CLASS_ID, SettingsFilterIntroLoopOutro::CLASS_ID})
        EXPECT_THROW(factory->CreateVideo(classId, ImplNames::TARSEL, video, SettingsFilterLoop(1)), std::bad_cast);
    EXPECT_THROW(factory->CreateVideo(SettingsFilterLoop::CLASS_ID, ImplNames::TARSEL, video, SettingsFilterRepeat()),
                 std::bad_cast);
    EXPECT_THROW(factory->CreateAudio(SettingsFilterLoop::CLASS_ID, ImplNames::TARSEL, audio, SettingsFilterRepeat()),
                 std::bad_cast);
    EXPECT_THROW(factory->CreateAudio(SettingsFilterRepeat::CLASS_ID, ImplNames::TARSEL, audio, SettingsFilterLoop(1)),
                 std::bad_cast);
    EXPECT_EQ(video->GetRefCountImpl(), 1U);
    EXPECT_EQ(audio->GetRefCountImpl(), 1U);
}

TEST(RepeatFactories, RepeatControllerIsMadeWithoutArguments) {
    auto const controller = MakeFilterFactory()->Dedicated(FilterSlots::REPEAT_CONTROLLER, ImplNames::TARSEL)();
    controller->Initialize(
        Core::Property(IFilterRepeatController::CLASS_ID)
            .SetChild(IFilterRepeatController::REDEFINE_DURATION, int64(20))
            .SetChild(IFilterRepeatController::REPEAT_MODE, IFilterRepeatController::REPEAT_MODE_LAST));
    auto const stream = controller->AddStream(iptr<IStreamVideo>(MakeClip()));
    EXPECT_THAT(ReadAll(*stream), ElementsAre(IsVideo(0, 10), IsVideo(10, 10)));
}

}  // namespace
}  // namespace Tarsel::Host
