#pragma once

#include <cstddef>
#include <string>

#include "contracts/Core/RefCount.h"
#include "contracts/Core/Types.h"

namespace Tarsel::Core {

/// A source of bytes.
class TARSEL_CONTRACTS_EXPORT IDataInput : public virtual IRefCountable {
  public:
    /// Reads up to `size` bytes and returns how many were read; 0 at the end.
    virtual std::size_t Read(u8* out, std::size_t size) = 0;
    /// Bytes left to read.
    virtual std::size_t GetRest() const = 0;
};

/// Bytes of memory that outlive the object; nothing is copied.
class TARSEL_CONTRACTS_EXPORT DataInputMemory : public IDataInput, public RefCounted {
  public:
    static iptr<DataInputMemory> Create(u8 const* data, std::size_t size);
    std::size_t Read(u8* out, std::size_t size) override;
    std::size_t GetRest() const override { return size - position; }

  private:
    DataInputMemory(u8 const* data, std::size_t size) : data(data), size(size) {}

    u8 const* data;
    std::size_t size;
    std::size_t position = 0;
};

/// Reads bit fields, most significant bit first. A read past the end throws `Tarsel::Exception` and reads nothing.
class TARSEL_CONTRACTS_EXPORT DataBitInput {
  public:
    explicit DataBitInput(iptr<IDataInput> input);

    /// Reads `count` bits, 0 to 64.
    u64 ReadBits(unsigned count);
    /// Drops the rest of a byte that was begun; does nothing on a byte boundary.
    void SkipBitsToNextByte();
    /// Drops `count` bits; none when there are fewer, and then throws.
    void SkipBits(u64 count);
    /// Bits left to read.
    u64 BitsLeft() const;
    /// Bits read so far.
    u64 GetBitPosition() const { return bitPosition; }

  private:
    iptr<IDataInput> input;
    u64 bitPosition = 0;
    unsigned bitsInByte = 0;  // unread bits of `byte`
    u8 byte = 0;
};

/// A sink of bytes.
class TARSEL_CONTRACTS_EXPORT IDataOutput : public virtual IRefCountable {
  public:
    virtual void Write(u8 const* data, std::size_t size) = 0;
};

/// Appends to a string that outlives the object.
class TARSEL_CONTRACTS_EXPORT DataOutputString : public IDataOutput, public RefCounted {
  public:
    static iptr<DataOutputString> Create(std::string* text);
    void Write(u8 const* data, std::size_t size) override;

  private:
    explicit DataOutputString(std::string* text) : text(text) {}

    std::string* text;
};

/// Writes bit fields, most significant bit first. `Flush` pads the last byte with zero bits.
class TARSEL_CONTRACTS_EXPORT DataBitOutput {
  public:
    explicit DataBitOutput(iptr<IDataOutput> output);
    ~DataBitOutput();
    DataBitOutput(DataBitOutput const&) = delete;
    DataBitOutput& operator=(DataBitOutput const&) = delete;

    /// Writes the lowest `count` bits of `value`, 0 to 64.
    void WriteBits(u64 value, unsigned count);
    /// Writes whole bytes, on a byte boundary or not.
    void WriteData(u8 const* data, std::size_t size);
    /// Ends a byte that was begun.
    void Flush();

  private:
    iptr<IDataOutput> output;
    unsigned bitsInByte = 0;  // bits of `byte` that are written
    u8 byte = 0;
};

}  // namespace Tarsel::Core
