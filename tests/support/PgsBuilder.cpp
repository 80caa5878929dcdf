#include "tests/support/PgsBuilder.h"

#include <algorithm>

namespace Tarsel::Test {

namespace {

using Bytes = PgsBuilder::Bytes;

constexpr u8 PALETTE = 0x14, OBJECT = 0x15, PRESENTATION = 0x16, WINDOW = 0x17, END = 0x80;
constexpr u8 EPOCH_START = 0x80, NORMAL = 0;

void Put(Bytes& out, uint64 value, int bytes) {
    for (int i = bytes - 1; i >= 0; --i) out.push_back(static_cast<u8>(value >> (8 * i)));
}

/// Runs of one colour; colour 0 has a code of its own. Two zeros end a row.
Bytes EncodeRuns(PgsObject const& object) {
    Bytes out;
    for (int row = 0; row < object.height; ++row) {
        auto const begin = object.pixels.begin() + row * object.width;
        auto const end = begin + object.width;
        for (auto at = begin; at != end;) {
            u8 const color = *at;
            auto const next = std::find_if(at, end, [&](u8 pixel) { return pixel != color; });
            auto const length = static_cast<unsigned>(next - at);
            at = next;
            if (color != 0 && length < 3) {
                out.insert(out.end(), length, color);
                continue;
            }
            out.push_back(0);
            u8 const flags = static_cast<u8>((color != 0 ? 0x80 : 0) | (length > 63 ? 0x40 : 0));
            if (length > 63)
                Put(out, static_cast<unsigned>(flags) << 8 | length, 2);
            else
                out.push_back(static_cast<u8>(flags | length));
            if (color != 0) out.push_back(color);
        }
        Put(out, 0, 2);
    }
    return out;
}

}  // namespace

PgsBuilder& PgsBuilder::Show(int64 ticks, std::vector<PgsObject> const& objects, std::vector<PgsColor> const& colors) {
    Begin(ticks, objects, EPOCH_START);
    Bytes window;
    Put(window, objects.size(), 1);
    for (std::size_t i = 0; i < objects.size(); ++i) {
        Put(window, i, 1);
        for (int const value : {objects[i].x, objects[i].y, objects[i].width, objects[i].height})
            Put(window, static_cast<unsigned>(value), 2);
    }
    AddSegment(WINDOW, window);
    Bytes palette{0, 0};
    for (PgsColor const& color : colors)
        palette.insert(palette.end(), {color.index, color.y, color.cr, color.cb, color.alpha});
    AddSegment(PALETTE, palette);
    for (PgsObject const& object : objects) {
        Bytes const runs = EncodeRuns(object);
        Bytes body;
        Put(body, object.id, 2);
        body.insert(body.end(), {0, 0xC0});  // version, first and last part
        Put(body, runs.size() + 4, 3);
        Put(body, static_cast<unsigned>(object.width), 2);
        Put(body, static_cast<unsigned>(object.height), 2);
        body.insert(body.end(), runs.begin(), runs.end());
        AddSegment(OBJECT, body);
    }
    AddSegment(END, {});
    return *this;
}

PgsBuilder& PgsBuilder::Continue(int64 ticks, std::vector<PgsObject> const& objects) {
    Begin(ticks, objects, NORMAL);
    AddSegment(END, {});
    return *this;
}

void PgsBuilder::Begin(int64 ticks, std::vector<PgsObject> const& objects, u8 state) {
    sets.push_back({ticks, {}});
    Bytes body;
    Put(body, static_cast<unsigned>(width), 2);
    Put(body, static_cast<unsigned>(height), 2);
    body.push_back(0x10);  // rate
    Put(body, static_cast<unsigned>(number++), 2);
    body.insert(body.end(), {state, 0, 0});  // state, palette only, palette
    Put(body, objects.size(), 1);
    for (std::size_t i = 0; i < objects.size(); ++i) {
        Put(body, objects[i].id, 2);
        body.insert(body.end(), {static_cast<u8>(i), 0});  // window, neither cropped nor forced
        Put(body, static_cast<unsigned>(objects[i].x), 2);
        Put(body, static_cast<unsigned>(objects[i].y), 2);
    }
    AddSegment(PRESENTATION, body);
}

void PgsBuilder::AddSegment(u8 type, Bytes const& body) {
    Bytes segment{type};
    Put(segment, body.size(), 2);
    segment.insert(segment.end(), body.begin(), body.end());
    Set& set = sets.back();
    set.bytes.insert(set.bytes.end(), segment.begin(), segment.end());
    file.insert(file.end(), {'P', 'G'});
    Put(file, static_cast<uint64>(set.ticks), 4);
    Put(file, 0, 4);
    file.insert(file.end(), segment.begin(), segment.end());
}

}  // namespace Tarsel::Test
