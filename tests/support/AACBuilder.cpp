#include "tests/support/AACBuilder.h"

namespace Tarsel::TestSupport {

namespace {

void WriteOptional(BitWriter& out, std::optional<u8> value, unsigned count) {
    out.Flag(value.has_value());
    if (value) out.Bits(*value, count);
}

void WriteElements(BitWriter& out, std::vector<u8> const& elements, unsigned count) {
    for (u8 const element : elements) out.Bits(element, count);
}

void WriteObjectType(BitWriter& out, u32 type) {
    if (type < 32)
        out.Bits(type, 5);
    else
        out.Bits(31, 5).Bits(type - 32, 6);
}

}  // namespace

void WritePCE(BitWriter& out, PCEFields const& fields, bool alignComment) {
    out.Bits(fields.tag, 4).Bits(fields.objectType, 2).Bits(fields.samplingIndex, 4);
    out.Bits(fields.front.size(), 4).Bits(fields.side.size(), 4).Bits(fields.back.size(), 4);
    out.Bits(fields.lfe.size(), 2).Bits(fields.associated.size(), 3).Bits(fields.coupling.size(), 4);
    WriteOptional(out, fields.monoMixdown, 4);
    WriteOptional(out, fields.stereoMixdown, 4);
    WriteOptional(out, fields.matrixMixdown, 3);
    WriteElements(out, fields.front, 5);
    WriteElements(out, fields.side, 5);
    WriteElements(out, fields.back, 5);
    WriteElements(out, fields.lfe, 4);
    WriteElements(out, fields.associated, 4);
    WriteElements(out, fields.coupling, 5);
    if (alignComment) out.Align();
    out.Bits(fields.comment.size(), 8);
    for (u8 const byte : fields.comment) out.Bits(byte, 8);
}

std::vector<u8> BuildPCE(PCEFields const& fields) {
    BitWriter out;
    WritePCE(out, fields, true);
    return out.GetBytes();
}

PCEFields MakeSurroundPCE() {
    PCEFields fields;
    fields.front = {0x00, 0x10};
    fields.back = {0x11};
    fields.lfe = {0x0};
    return fields;
}

void WriteADTS(BitWriter& out, ADTSFields const& fields) {
    out.Bits(0xFFF, 12).Bits(fields.id, 1).Bits(fields.layer, 2).Bits(fields.protectionAbsent, 1);
    out.Bits(fields.profile, 2).Bits(fields.samplingIndex, 4).Bits(fields.privateBit, 1);
    out.Bits(fields.channelConfiguration, 3).Bits(fields.flags, 4).Bits(fields.frameLength, 13);
    out.Bits(fields.fullness, 11).Bits(fields.blockCount, 2);
}

std::vector<u8> BuildADTS(ADTSFields const& fields, std::vector<u8> const& behind) {
    BitWriter out;
    WriteADTS(out, fields);
    for (u8 const byte : behind) out.Bits(byte, 8);
    return out.GetBytes();
}

std::vector<u8> BuildADTSWithPCE(ADTSFields const& fields, PCEFields const& pce) {
    BitWriter out;
    WriteADTS(out, fields);
    out.Bits(5, 3);
    WritePCE(out, pce, false);
    return out.GetBytes();
}

void WriteASC(BitWriter& out, ASCFields const& fields) {
    WriteObjectType(out, fields.objectType);
    out.Bits(fields.samplingIndex, 4);
    if (fields.samplingIndex == 15) out.Bits(fields.explicitRate, 24);
    out.Bits(fields.channelConfiguration, 4);
    if (fields.objectType != 5 && fields.objectType != 29) return;
    out.Bits(fields.extensionIndex, 4);
    if (fields.extensionIndex == 15) out.Bits(fields.extensionRate, 24);
    WriteObjectType(out, fields.coreType);
}

std::vector<u8> BuildASC(ASCFields const& fields) {
    BitWriter out;
    WriteASC(out, fields);
    return out.GetBytes();
}

}  // namespace Tarsel::TestSupport
