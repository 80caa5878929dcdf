#include "contracts/Core/BitIO.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>

#include "contracts/Core/Exception.h"

namespace Tarsel::Core {

iptr<DataInputMemory> DataInputMemory::Create(u8 const* data, std::size_t size) {
    return iptr<DataInputMemory>(new DataInputMemory(data, size));
}

std::size_t DataInputMemory::Read(u8* out, std::size_t wanted) {
    std::size_t const count = std::min(wanted, size - position);
    if (count != 0) std::memcpy(out, data + position, count);
    position += count;
    return count;
}

DataBitInput::DataBitInput(iptr<IDataInput> source) : input(std::move(source)) {
    if (!input) TARSEL_THROW(std::invalid_argument, "input is NULL");
}

u64 DataBitInput::BitsLeft() const {
    return bitsInByte + u64(8) * input->GetRest();
}

u64 DataBitInput::ReadBits(unsigned count) {
    if (count > 64) TARSEL_THROW(Exception, "Cannot read " + std::to_string(count) + " bits at once, 64 at most");
    if (count > BitsLeft())
        TARSEL_THROW(Exception, "Read past the end of data: " + std::to_string(count) + " bits wanted at bit " +
                                    std::to_string(bitPosition) + ", " + std::to_string(BitsLeft()) + " left");
    u64 value = 0;
    bitPosition += count;
    while (count != 0) {
        if (bitsInByte == 0) {
            input->Read(&byte, 1);
            bitsInByte = 8;
        }
        unsigned const taken = std::min(count, bitsInByte);
        bitsInByte -= taken;
        value = (value << taken) | ((unsigned(byte) >> bitsInByte) & ((1U << taken) - 1U));
        count -= taken;
    }
    return value;
}

void DataBitInput::SkipBitsToNextByte() {
    ReadBits(bitsInByte);
}

void DataBitInput::SkipBits(u64 count) {
    if (count > BitsLeft())
        TARSEL_THROW(Exception, "Skip past the end of data: " + std::to_string(count) + " bits wanted at bit " +
                                    std::to_string(bitPosition) + ", " + std::to_string(BitsLeft()) + " left");
    for (; count > 64; count -= 64) ReadBits(64);
    ReadBits(static_cast<unsigned>(count));
}

iptr<DataOutputString> DataOutputString::Create(std::string* text) {
    return iptr<DataOutputString>(new DataOutputString(text));
}

void DataOutputString::Write(u8 const* data, std::size_t size) {
    text->append(reinterpret_cast<char const*>(data), size);
}

DataBitOutput::DataBitOutput(iptr<IDataOutput> sink) : output(std::move(sink)) {
    if (!output) TARSEL_THROW(std::invalid_argument, "output is NULL");
}

DataBitOutput::~DataBitOutput() {
    Flush();
}

void DataBitOutput::WriteBits(u64 value, unsigned count) {
    if (count > 64) TARSEL_THROW(Exception, "Cannot write " + std::to_string(count) + " bits at once, 64 at most");
    while (count != 0) {
        unsigned const taken = std::min(count, 8 - bitsInByte);
        count -= taken;
        u8 const bits = static_cast<u8>((value >> count) & ((1U << taken) - 1U));
        byte = static_cast<u8>(byte | (bits << (8 - bitsInByte - taken)));
        bitsInByte += taken;
        if (bitsInByte == 8) Flush();
    }
}

void DataBitOutput::WriteData(u8 const* data, std::size_t size) {
    if (bitsInByte == 0) {
        if (size != 0) output->Write(data, size);
        return;
    }
    for (std::size_t i = 0; i < size; ++i) WriteBits(data[i], 8);
}

void DataBitOutput::Flush() {
    if (bitsInByte == 0) return;
    output->Write(&byte, 1);
    bitsInByte = 0;
    byte = 0;
}

}  // namespace Tarsel::Core
