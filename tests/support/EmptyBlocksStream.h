#pragma once

#include "tests/support/Builders.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Test {

/// A source that gives blocks without samples, times and durations for ever, or until it is told that it has ended.
class EmptyBlocksStream : public ScriptedAudio {
  public:
    EmptyBlocksStream() : ScriptedAudio(std::vector<Step>()) {}
    iptr<Proc::IDataAudio> Read() override {
        if (IsEndOfStream()) return nullptr;
        if (++reads == endAt) watched->SetEndOfStream();
        iptr<Proc::IDataAudio> const block = MakeAudio(NO_VALUE, 0);
        block->SetDuration(NO_VALUE);
        return block;
    }
    int reads = 0;
    int endAt = 0;
    Proc::IStream* watched = nullptr;  // the filter, which outlives every read
};

/// What a filter says that has had enough of such a source.
inline constexpr char const* EMPTY_BLOCKS_TEXT = "Audio source gave 100000 blocks in a row without samples";

}  // namespace Tarsel::Test
