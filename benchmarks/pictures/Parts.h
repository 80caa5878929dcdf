// The parts of the program. What is set side by side is measured in turns, and the medians of the rounds count: compare
// figures within one run only.
#pragma once

#include <string>

#include "benchmarks/effects/Parts.h"

namespace Tarsel::Bench {

/// What looking at a frame costs at several sizes, whose tables have to be those of the plain formulas.
void MeasureCropDetection(Rows& rows);
/// What titles of bitmaps cost that are held, beside pictures that pass and titles that change.
void MeasureHeldTitles(Rows& rows);

/// A chain that draws, and what is drawn.
struct DrawingJob {
    /// "none" and "none-large" pass pictures of 720p and 1080p; "overlay" draws a picture file on 1080p, "subtitles" a
    /// file of texts on 720p.
    std::string what;
    std::string file;
};

/// Reads `count` pictures through it, and measures nothing: a peer that is a program is set beside a program. False for
/// what isn't known.
bool RunDrawing(DrawingJob const& job, int64 count);
/// Compares a picture of it, by its number, with the bytes that the peer has made, both as the planes of YUV 4:2:0.
/// Tells the differences, and whether what is drawn is the same but for rounding.
bool CheckDrawing(DrawingJob const& job, int64 number, std::string const& peerFile);

}  // namespace Tarsel::Bench
