#include "tests/support/ContactSheet.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string_view>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/Color.h"
#include "contracts/Proc/DataVideoFF.h"
#include "contracts/Proc/IEffectImageBlender.h"
#include "contracts/Proc/IResize.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsColorSpaceConverter.h"
#include "contracts/Proc/SettingsEffectText.h"
#include "host/graph/Factories.h"
#include "host/media/PngEncoder.h"

namespace Tarsel::Test {

namespace {

using namespace Proc;

constexpr int CELL_WIDTH = 320;
constexpr int CELL_HEIGHT = 200;
constexpr int CAPTION_HEIGHT = 20;
constexpr int CAPTION_SIZE = 15;
constexpr int CHECK = 8;  // side of a field of the ground

Host::EffectFactory const& Factory() {
    static iptr<Host::EffectFactory const> const factory = Host::MakeEffectFactory();
    return *factory;
}

iptr<IDataVideo> Processed(std::string const& classId, Settings const& settings, iptr<IDataVideo> picture) {
    auto const effect = Factory().CreateEffect(classId, ImplNames::TARSEL);
    effect->Initialize(settings);
    return iptr<IDataVideo>(dynamic_cast<IDataVideo*>(effect->ProcessData({picture}).get()));
}

void Draw(iptr<IDataVideo>& dest, iptr<IDataVideo> const& picture, int x, int y) {
    auto const blender = Factory().CreateBlender(SettingsEffectImageBlender::CLASS_ID, ImplNames::TARSEL);
    blender->Initialize(SettingsEffectImageBlender(x, y, 255, BlendAlphaMode::Straight));
    blender->Process(dest, picture);
}

iptr<IDataVideo> Ground() {
    auto const ground = DataVideoFF::Create(PIX_FMT_RGBA, {CELL_WIDTH, CELL_HEIGHT, 1, 1}, nullptr);
    auto const plane = ground->GetPlane(0);
    for (int y = 0; y < CELL_HEIGHT; ++y)
        for (int x = 0; x < CELL_WIDTH; ++x) {
            u8* const pixel = plane.GetOffsetPtr(static_cast<unsigned>(x), static_cast<unsigned>(y));
            std::fill_n(pixel, 3, static_cast<u8>((x / CHECK + y / CHECK) % 2 ? 170 : 120));
            pixel[3] = 255;
        }
    return ground;
}

}  // namespace

ContactSheet::ContactSheet(std::string name, int columns) : name(std::move(name)), columns(std::max(columns, 1)) {}

void ContactSheet::Add(iptr<IDataVideo> const& picture, std::string const& caption) {
    if (!picture) TARSEL_THROW(std::invalid_argument, "There is no picture \"" + caption + "\"");
    iptr<IDataVideo> small =
        Processed(SettingsColorSpaceConverter::CLASS_ID, SettingsColorSpaceConverter({PIX_FMT_RGBA}, false), picture);
    SettingsResizer fit;
    Conf::FrameInfo const& info = picture->GetFrameInfo();
    double const shape = static_cast<double>(info.width) * info.pixelAspectNum / info.pixelAspectDen / info.height;
    int const width = std::clamp(static_cast<int>(std::min(CELL_WIDTH, static_cast<int>(CELL_HEIGHT * shape))), 1, 320);
    int const height = std::clamp(static_cast<int>(width / shape), 1, CELL_HEIGHT);
    fit.SetCustomMode(SettingsResizer::MODE_STRETCH, {width, height, 1, 1});
    small = Processed(IResize::CLASS_ID, fit, small);
    auto cell = DataVideoFF::Create(PIX_FMT_RGBA, {CELL_WIDTH, CELL_HEIGHT + CAPTION_HEIGHT, 1, 1}, nullptr);
    cell->Fill(Color::Black(Color::Opaque));
    Draw(cell, Ground(), 0, 0);
    Draw(cell, small, 0, 0);
    SettingsEffectText text;
    text.SetText(caption);
    text.SetX(2);
    text.SetY(CELL_HEIGHT + 1);
    text.SetSize(CAPTION_SIZE);
    cells.push_back(Processed(SettingsEffectText::CLASS_ID, text, cell));
}

ContactSheet::~ContactSheet() {
    if (cells.empty()) return;
    try {
        int const count = static_cast<int>(cells.size());
        int const rows = (count + columns - 1) / columns;
        auto sheet = DataVideoFF::Create(
            PIX_FMT_RGBA, {std::min(columns, count) * CELL_WIDTH, rows * (CELL_HEIGHT + CAPTION_HEIGHT), 1, 1},
            nullptr);
        sheet->Fill(Color::Black(Color::Opaque));
        for (int i = 0; i < count; ++i)
            Draw(sheet, cells[static_cast<std::size_t>(i)], i % columns * CELL_WIDTH,
                 i / columns * (CELL_HEIGHT + CAPTION_HEIGHT));
        char const* const chosen = std::getenv("TARSEL_CONTACT_SHEETS");
        std::filesystem::path const folder(chosen ? chosen : TARSEL_CONTACT_SHEETS_DIR);
        std::filesystem::create_directories(folder);
        Host::PngEncoder encoder;
        std::string_view const bytes = encoder.Encode(*sheet);
        std::ofstream file(folder / (name + ".png"), std::ios::binary);
        file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        if (!file.flush()) std::cerr << "The contact sheet " << name << " can't be written\n";
    } catch (std::exception const& failure) {
        std::cerr << "The contact sheet " << name << " can't be drawn: " << failure.what() << '\n';
    }
}

}  // namespace Tarsel::Test
