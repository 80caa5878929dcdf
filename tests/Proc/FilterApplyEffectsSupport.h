#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "Proc/Filters/Filters/FilterApplyEffectsAudio.h"
#include "Proc/Filters/Filters/FilterApplyEffectsVideo.h"
#include "tests/support/Builders.h"
#include "tests/support/Draw.h"
#include "tests/support/ScriptedEffects.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Test {

/// What differs between chains over pictures and over sound. Items last 10000 microseconds.
struct PictureKind {
    using Stream = Proc::IStreamVideo;
    using StreamEx = Proc::IStreamVideoEx;
    using Effect = Proc::IOneInputEffectVideo;
    using Filter = Proc::FilterApplyEffectsVideo;
    using Interface = Proc::IFilterApplyEffectsVideo;
    using Data = Proc::IDataVideo;
    static constexpr char NAME[] = "FilterApplyEffectsVideo";
    static iptr<Data> MakeItem(int64 time) { return MakeVideo(time, 10000); }
};
struct SoundKind {
    using Stream = Proc::IStreamAudio;
    using StreamEx = Proc::IStreamAudioEx;
    using Effect = Proc::IOneInputEffectAudio;
    using Filter = Proc::FilterApplyEffectsAudio;
    using Interface = Proc::IFilterApplyEffectsAudio;
    using Data = Proc::IDataAudio;
    static constexpr char NAME[] = "FilterApplyEffectsAudio";
    static iptr<Data> MakeItem(int64 time) { return MakeAudio(time, 480); }
};
using ChainKinds = ::testing::Types<PictureKind, SoundKind>;

/// A chain over a script, and effects A, B and C that note their calls.
template <class Kind>
class ChainTest : public ::testing::Test {
  protected:
    using Effect = typename Kind::Effect;
    using Item = iptr<typename Kind::Data>;
    using Source = ScriptedStream<typename Kind::Stream>;
    using Scripted = ScriptedEffect<Effect>;

    ChainTest() {
        for (char const* id : {"A", "B", "C"}) effects.Know(id);
    }
    static std::vector<Item> Items(int count) {
        std::vector<Item> items;
        for (int i = 0; i < count; ++i) items.push_back(Kind::MakeItem(10000 * i));
        return items;
    }
    iptr<typename Kind::Filter> MakeFilter(iptr<Source> stream) {
        source = std::move(stream);
        return MakeShared<typename Kind::Filter>(source, effects.factory);
    }
    iptr<typename Kind::Filter> MakeFilter(int count) { return MakeFilter(Source::Create(Items(count))); }
    /// An effect that is no factory's.
    iptr<Scripted> MakeOwnEffect(std::string const& name) { return iptr<Scripted>(new Scripted(name, effects.log)); }
    static Core::Property ChainOf(std::vector<std::string> const& names) {
        std::vector<Core::Property> properties;
        for (std::string const& name : names) properties.emplace_back(name);
        return Kind::Interface::SettingsEffects2FilterSettings(properties);
    }
    std::vector<std::string> Calls() { return effects.log->Take(); }

    EffectsOf<Effect> effects;
    iptr<Source> source;
};

}  // namespace Tarsel::Test
