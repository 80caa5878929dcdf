#pragma once

#include <cstddef>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Core/Property.h"
#include "contracts/Core/Types.h"

// What the header reports of all codecs are written with.

namespace Tarsel::Proc::CodecParsers {

/// A header holds a few structures; a report of one that a hostile stream made up of a hundred thousand ends here.
inline constexpr std::size_t MAX_DESCRIBED_STRUCTURES = 256;
/// The same for the entries of one array.
inline constexpr std::size_t MAX_DESCRIBED_ENTRIES = 256;
/// Where a limit cut something off: how many are missing.
inline constexpr char TAG_LEFT_OUT[] = "left_out";

/// Writes the fields of one structure in the order of the calls.
class HeaderFields {
  public:
    explicit HeaderFields(Core::Property& out) : out(out) {}

    HeaderFields& Field(char const* name, int64 value) {
        out.SetChild(name, value);
        return *this;
    }
    /// One entry per value; a number, or an array of numbers, each.
    template <class Values>
    HeaderFields& Array(char const* name, Values const& values) {
        out.SetChild(name, MakeArray(name, values));
        return *this;
    }
    /// `fill` gets the fields of a structure inside.
    template <class Fill>
    HeaderFields& Structure(char const* name, Fill fill) {
        Core::Property inner(name);
        HeaderFields fields(inner);
        fill(fields);
        out.SetChild(name, inner);
        return *this;
    }

  private:
    template <class Values>
    static Core::Property MakeArray(char const* name, Values const& values) {
        Core::Property array(name);
        std::size_t count = 0;
        for (auto const& value : values) {
            if (count++ == MAX_DESCRIBED_ENTRIES) break;
            array.Add(MakeEntry(name, value));
        }
        if (values.size() > MAX_DESCRIBED_ENTRIES)
            array.SetChild(TAG_LEFT_OUT, static_cast<int64>(values.size() - MAX_DESCRIBED_ENTRIES));
        return array;
    }
    template <class Values>
    static Core::Property MakeEntry(char const* name, Values const& values) {
        return MakeArray(name, values);
    }
    static Core::Property MakeEntry(char const* name, u8 value) { return MakeEntry(name, int64{value}); }
    static Core::Property MakeEntry(char const* name, u32 value) { return MakeEntry(name, int64{value}); }
    static Core::Property MakeEntry(char const* name, i32 value) { return MakeEntry(name, int64{value}); }
    static Core::Property MakeEntry(char const* name, int64 value) { return Core::Property(name).SetValue(value); }

    Core::Property& out;
};

/// The structures of one header.
class HeaderStructures {
  public:
    HeaderStructures() : report("headers") {}

    /// Appends a structure. `fill` gets its `HeaderFields`; a failure that it throws is told in place of the fields.
    template <class Fill>
    void Add(char const* name, Fill fill) {
        if (report.Children().size() == MAX_DESCRIBED_STRUCTURES) {
            ++leftOut;
            return;
        }
        Core::Property structure(name);
        try {
            HeaderFields fields(structure);
            fill(fields);
        } catch (Exception const& failure) {
            structure = Core::Property(name);
            structure.SetChild("error", failure.what());
        }
        report.Add(std::move(structure));
    }

    Core::Property Finish() {
        if (leftOut != 0) report.SetChild(TAG_LEFT_OUT, leftOut);
        return std::move(report);
    }

  private:
    Core::Property report;
    int64 leftOut = 0;
};

// One function per family of codecs; each appends what it finds in the order of the
// data, of which there is some.
void DescribeAAC(u8 const* data, std::size_t size, HeaderStructures& out);
void DescribeH264(u8 const* data, std::size_t size, HeaderStructures& out);
void DescribeHEVC(u8 const* data, std::size_t size, HeaderStructures& out);
void DescribeMPEG2(u8 const* data, std::size_t size, HeaderStructures& out);
void DescribeMPEG4(u8 const* data, std::size_t size, HeaderStructures& out);

}  // namespace Tarsel::Proc::CodecParsers
