#include "Proc/CodecParsers/ExtradataBytes.h"

#include "contracts/Core/Exception.h"
#include "contracts/Proc/BlobFF.h"

namespace Tarsel::Proc::CodecParsers {

iptr<IBlob> MakeExtradata(std::string const& bytes) {
    iptr<IBlob> blob = BlobFF::Create(reinterpret_cast<u8 const*>(bytes.data()), bytes.size());
    if (!blob) TARSEL_THROW(Exception, "Can't create BlobFF");
    return blob;
}

void Append(std::string& out, u8 const* data, std::size_t size) {
    if (size != 0) out.append(reinterpret_cast<char const*>(data), size);
}

void AppendByte(std::string& out, std::size_t value) {
    out.push_back(static_cast<char>(static_cast<u8>(value)));
}

void AppendAfterStartCode(std::string& out, NaluRange const& unit) {
    Append(out, StartCode4, sizeof(StartCode4));
    Append(out, unit.data, unit.size);
}

}  // namespace Tarsel::Proc::CodecParsers
