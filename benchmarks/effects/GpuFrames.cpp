#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "benchmarks/effects/Parts.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/IEffectImageBlender.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsEffectColor.h"
#include "contracts/Proc/SettingsEffectFade.h"
#include "contracts/Proc/SettingsFrameDownloader.h"
#include "contracts/Proc/SettingsFrameUploader.h"
#include "contracts/Proc/SettingsResizer.h"
#include "host/gpu/DataVideoOGL.h"
#include "host/gpu/GpuDevice.h"

namespace Tarsel::Bench {
namespace {

using namespace Tarsel::Proc;
using EffectPtr = iptr<IOneInputEffectVideo>;

constexpr int ROUNDS = 15;

iptr<IDataVideo> Applied(iptr<IDataVideo> item, std::vector<EffectPtr> const& effects) {
    for (auto const& effect : effects) effect->Process(item);
    return item;
}

/// OpenGL works behind the calls: reading a corner of the result back ends when all of it is done.
void Await(IDataVideo const& frame) {
    auto const& own = dynamic_cast<Host::DataVideoOGL const&>(frame);
    Host::GpuDevice& device = own.GetDevice();
    Host::GpuTexturePtr const corner = device.MakeTexture(Host::GpuFormat::RGBA8, 1, 1);
    device.CopyArea(own.GetTexture(), {0, 0, 1, 1}, *corner);
    u8 pixel[4];
    device.Download(*corner, static_cast<u8*>(pixel), sizeof pixel);
}

/// The effects of both sides, made the same way.
struct Side {
    EffectPtr resize, fade, color;
    iptr<IEffectImageBlender> blender;

    explicit Side(std::string const& implName) {
        SettingsResizer size;
        size.SetCustomMode(SettingsResizer::MODE_STRETCH, {1280, 720, 1, 1});
        resize = MakePictureEffect(size, implName);
        fade = MakePictureEffect(SettingsEffectFade(), implName);
        SettingsEffectColor colours;
        colours.SetContrast(1.2);
        color = MakePictureEffect(colours, implName);
        fade->GetTimeToProgress().end = 100 * SECOND;
        blender = Effects()->CreateBlender(IEffectImageBlender::CLASS_ID, implName);
        blender->Initialize(SettingsEffectImageBlender(10, 10, 200, BlendAlphaMode::Straight));
    }
};

/// A frame at the middle of the fade.
iptr<IDataVideo> MakeTimed(int width, int height) {
    iptr<IDataVideo> picture = MakePicture(PIX_FMT_RGBA, width, height);
    picture->SetTime(50 * SECOND);
    picture->SetDuration(40000);
    return picture;
}

class Bench {
  public:
    Bench()
        : upload(MakePictureEffect(SettingsFrameUploader(), ImplNames::OGL)),
          download(MakePictureEffect(SettingsFrameDownloader(), ImplNames::OGL)),
          cpu(ImplNames::TARSEL),
          gpu(ImplNames::OGL) {}

    void Run(Rows& rows) {
        std::size_t const copying = turns.Add([this] { keep = small->Clone(true); });
        std::size_t const up = turns.Add([this] { Await(*Applied(small, {upload})); });
        std::size_t const down = turns.Add([this] { Applied(smallGpu, {download}); });
        std::size_t const waiting = turns.Add([this] { Await(*smallGpu); });
        AddBoth("resize 1080p to 720p", large, largeGpu, [](Side const& side) { return side.resize; });
        AddBoth("fade", small, smallGpu, [](Side const& side) { return side.fade; });
        AddBoth("colour", small, smallGpu, [](Side const& side) { return side.color; });
        AddBlend();
        AddChains();
        turns.Run(ROUNDS);

        double const copy = turns.Get(copying);
        rows.push_back({"720p RGBA, copy", copy * 1e3, "ms", {}});
        rows.push_back({"GPU: waiting for the end", turns.Get(waiting) * 1e3, "ms", {}});
        rows.push_back(
            {"GPU: upload, with the wait", turns.Get(up) * 1e3, "ms", {{"copying's speed", copy / turns.Get(up), 0}}});
        rows.push_back(
            {"GPU: download", turns.Get(down) * 1e3, "ms", {{"copying's speed", copy / turns.Get(down), 0}}});
        for (Pair const& pair : pairs) {
            double const one = turns.Get(pair.one), other = turns.Get(pair.other);
            rows.push_back({pair.otherName, other * 1e3, "ms", {}});
            rows.push_back({pair.name, one * 1e3, "ms", {{pair.ratio, other / one, pair.goal}}});
        }
    }

  private:
    struct Pair {
        std::string name, otherName, ratio;
        std::size_t one, other;
        double goal;
    };

    template <class Choose>
    void AddBoth(std::string const& name, iptr<IDataVideo> const& onCpu, iptr<IDataVideo> const& onGpu, Choose choose) {
        EffectPtr const ours = choose(cpu), theirs = choose(gpu);
        std::size_t const slow = turns.Add([=] { Applied(onCpu->Clone(false), {ours}); });
        std::size_t const fast = turns.Add([=] { Await(*Applied(onGpu->Clone(false), {theirs})); });
        pairs.push_back(
            {"GPU: " + name + ", with the wait", "processor: " + name, "the processor's speed", fast, slow, 0});
    }
    void AddBlend() {
        std::size_t const slow = turns.Add([this] {
            iptr<IDataVideo> dest = small->Clone(false);
            cpu.blender->Process(dest, logo);
        });
        std::size_t const fast = turns.Add([this] {
            iptr<IDataVideo> dest = smallGpu->Clone(false);
            gpu.blender->Process(dest, logoGpu);
            Await(*dest);
        });
        pairs.push_back({"GPU: blend of 320x180, with the wait", "processor: blend of 320x180", "the processor's speed",
                         fast, slow, 0});
    }
    /// Three effects that find their frames where they need them, and three that don't.
    void AddChains() {
        std::vector<EffectPtr> const three{gpu.fade, gpu.color, gpu.fade};
        std::vector<EffectPtr> once{upload}, each;
        once.insert(once.end(), three.begin(), three.end());
        once.push_back(download);
        for (auto const& effect : three) each.insert(each.end(), {upload, effect, download});
        std::size_t const slow = turns.Add([=, this] { Applied(small->Clone(false), each); });
        std::size_t const fast = turns.Add([=, this] { Applied(small->Clone(false), once); });
        // Less work on the same way: what is missing to 1 is noise, which software drawing has plenty of.
        pairs.push_back({"GPU: fade, colour, fade", "GPU: fade, colour, fade, a transfer for each",
                         "the speed with transfers", fast, slow, 0.9});
    }

    EffectPtr const upload;
    EffectPtr const download;
    Side const cpu;
    Side const gpu;
    iptr<IDataVideo> const large = MakeTimed(1920, 1080);
    iptr<IDataVideo> const small = MakeTimed(1280, 720);
    iptr<IDataVideo> const logo = MakeTimed(320, 180);
    iptr<IDataVideo> const largeGpu = Applied(large->Clone(false), {upload});
    iptr<IDataVideo> const smallGpu = Applied(small->Clone(false), {upload});
    iptr<IDataVideo> const logoGpu = Applied(logo->Clone(false), {upload});
    iptr<IDataVideo> keep;
    Turns turns;
    std::vector<Pair> pairs;
};

}  // namespace

void MeasureGpuFrames(Rows& rows) {
    std::fprintf(stderr, "GPU frames are drawn by %s\n", Host::GpuDevice::Get()->GetRenderer().c_str());
    Bench().Run(rows);
}

}  // namespace Tarsel::Bench
