// Runs of example graphs that are recorded, and the records that are checked in.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "host/digest/RecordJob.h"
#include "tests/proofs/ProofTable.h"

namespace Tarsel::Test {

/// The example with its media filled in.
Host::GraphDocument ExampleOf(Proof const& proof);

/// Whether the libraries of FFmpeg may use all that the processor offers, instead of plain code: where
/// `TARSEL_PROOFS_ALL_INSTRUCTIONS` is in the environment.
bool AreAllInstructionsUsed();

/// One thread in each decoder.
Host::RecordOptions PlainRun();
/// The record of a run of the document, under the example's name.
Host::RunRecord Record(Proof const& proof, Host::GraphDocument const& document,
                       Host::RecordOptions const& options = PlainRun());
/// The record of the example as it is, made once in a process.
Proc::GraphCRCData const& StraightRecord(Proof const& proof);
/// The straight run's report.
Host::GraphReport const& StraightReport(Proof const& proof);

/// Where the record of a run is checked in, by the versions of the libraries that are running.
std::string RecordPath(std::string const& name, Besides besides);
/// Files of records that belong to no known name, and those of the running version that no run is compared with.
std::vector<std::string> FindStrayRecords(std::map<std::string, Besides> const& known, bool timelines);
/// How the names of the records of timelines begin.
inline constexpr char TIMELINE_PREFIX[] = "timeline-";
/// What stands between a record's name and its ending, for the libraries that are running: ".lavc59.37.100".
std::string VersionOf(Besides besides);
/// A record of a file; where there is none, a failure of the test that tells how to make it, and an empty record.
Proc::GraphCRCData ReadRecord(std::string const& path);
/// The checked-in record. With `TARSEL_UPDATE_RECORDS` in the environment it is made anew of `actual` first.
Proc::GraphCRCData CheckedInRecord(std::string const& name, Besides besides, Proc::GraphCRCData const& actual);

/// The record without these nodes.
Proc::GraphCRCData Without(Proc::GraphCRCData const& record, LeftOut const& leftOut);
/// The record of these nodes alone.
Proc::GraphCRCData Only(Proc::GraphCRCData const& record, std::vector<Host::NodeId> const& nodes);
/// Of each node as many items as the other record has, from its end.
Proc::GraphCRCData TailOf(Proc::GraphCRCData const& record, Proc::GraphCRCData const& straight);

/// What a comparison tells of nodes and items that differ; empty when the records are equal.
std::string DifferenceOf(Proc::GraphCRCData const& expected, Proc::GraphCRCData const& actual);

/// How the nodes of a document that read `from` read `to` instead, but for the node `except`.
void Relink(Host::GraphDocument& document, Host::NodeId from, Host::NodeId to, Host::NodeId except);

/// Nodes that a document of other blocks gets: behind source N and behind output N of sound.
inline constexpr Host::NodeId BLOCKED_SOURCES = 500;
inline constexpr Host::NodeId BLOCKED_OUTPUTS = 700;
/// Cuts the sound of decoded sources into blocks of this length; 0 leaves them as they are. The sound of the outputs is
/// brought to blocks of a tenth of a second, by new nodes that are the outputs then.
Host::GraphDocument InBlocks(Proof const& proof, int64 duration);

/// The stream that stands in for source N behind its cache.
inline constexpr Host::NodeId CACHED_SOURCES = 600;
/// Puts a cache controller behind each decoded source of pictures or sound that the table doesn't leave out.
Host::GraphDocument BehindCaches(Proof const& proof);
/// Whether a node of such a document is a source that is read through a cache of its own.
bool IsCachedSource(Host::GraphDocument const& document, Host::NodeId node);

}  // namespace Tarsel::Test
