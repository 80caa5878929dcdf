// What may come from another thread while a drawn stream is being read. A gate holds the read; nothing waits for time
// to pass.
#include <thread>

#include "contracts/Proc/IStreamVisitor.h"
#include "tests/Proc/VideoMixerSupport.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;

TEST_F(VideoMixerTest, EndReportsAndSettingsDoNotWaitForAReadOfADrawnStream) {
    auto const drawn = ScriptedVideo::Create(MakeVideos(5, 40000));
    auto const gate = std::make_shared<Gate>();
    mixer->AddStream(drawn, 0, 0, 0, Always(255), false);
    EXPECT_THAT(Drawn(), ElementsAre("Tarsel: 0 at 0,0 with 255 on 0"));
    gate->Close();
    drawn->gate = gate;
    iptr<IDataVideo> frame;
    std::thread reader([&] { frame = mixer->Read(); });
    gate->AwaitArrivals(1);
    mixer->SetMinOverlap(5);
    EXPECT_EQ(mixer->GetStatistic()["Count"].GetInt64(), 1);
    EXPECT_EQ(mixer->GetSettings(), IFilterVideoMixer::Settings2Property(SettingsFilterVideoMixer(5)));
    EXPECT_EQ(mixer->GetFormatCodec(), main->format);
    Visitors::InfoCollector names;
    mixer->Accept(names);
    EXPECT_EQ(names.names.size(), 3U);
    mixer->SetEndOfStream();
    EXPECT_TRUE(drawn->IsEndOfStream()) << "the stream that the read waits for is told, so that it can break it";
    gate->Open();
    reader.join();
    EXPECT_THAT(frame, IsVideo(40000, 40000));
    EXPECT_EQ(mixer->Read(), nullptr);
    EXPECT_EQ(mixer->GetStatistic()["Count"].GetInt64(), 2);
}

}  // namespace
}  // namespace Tarsel::Proc
