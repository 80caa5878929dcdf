// Which medium each example graph is recorded on, and what of its run doesn't hold everywhere: every exception stands
// here with its reason.
#pragma once

#include <string>
#include <vector>

#include "host/graph/GraphDocument.h"

namespace Tarsel::Test {

/// Nodes that a comparison leaves out, and why.
struct LeftOut {
    std::vector<Host::NodeId> nodes;
    /// Whether it is all nodes.
    bool all = false;
    std::string why;

    bool Holds(Host::NodeId node) const;
};

/// The library whose version is part of a record's name beside that of the codecs.
enum class Besides {
    Nothing,
    /// libass, which draws titles.
    Titles,
    /// librubberband, which keeps the pitch.
    Pitch,
};

struct Proof {
    /// Of the file in examples/, without its ending.
    std::string name;
    /// Names of `ProofMedia`; empty where the graph takes none.
    std::string in = {};
    std::string in2 = {};
    Besides besides = Besides::Nothing;
    /// What changes with the instructions that the libraries of FFmpeg may use. The record is that of plain code.
    LeftOut fast = {};
    /// What runs of each kind needn't have in common with the straight one: the pass behind seeks, the pictures that
    /// stand right behind them, ...
    LeftOut seeks = {};
    LeftOut landings = {};
    LeftOut blocks = {};
    LeftOut caches = {};
};

/// By name.
std::vector<Proof> const& Proofs();
/// Throws `std::out_of_range` for an unknown name.
Proof const& ProofOf(std::string const& name);

}  // namespace Tarsel::Test
