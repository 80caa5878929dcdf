#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <type_traits>

#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;

/// A visitor whose kind nobody knows.
class Stranger : public IStreamVisitor {
  public:
    int GetType() const override { return 3; }
};

/// A visitor that lies about its kind.
class Liar : public IStreamVisitor {
  public:
    int GetType() const override { return TYPE_INFO; }
};

class FakeDecoder : public IDecoder, public ScriptedVideo {
  public:
    std::string GetImplName() const override { return "fake"; }
    static iptr<FakeDecoder> Create() { return iptr<FakeDecoder>(new FakeDecoder); }

  private:
    FakeDecoder() : ScriptedVideo({}) {}
};

template <class T>
struct Maker;
template <>
struct Maker<IStreamVideo> {
    static iptr<IDataVideo> Make() { return MakeVideo(10, 20); }
};
template <>
struct Maker<IStreamAudio> {
    static iptr<IDataAudio> Make() { return MakeAudio(10, 20); }
};
template <>
struct Maker<IStreamSubtitle> {
    static iptr<IDataSubtitle> Make() { return MakeSubtitle(10, 20); }
};
template <>
struct Maker<IStreamRaw> {
    static iptr<IDataPacket> Make() { return MakePacket(10, 10, 20, true); }
};

template <class T>
class StreamSlots : public ::testing::Test {};
using StreamKinds = ::testing::Types<IStreamVideo, IStreamAudio, IStreamSubtitle, IStreamRaw>;
TYPED_TEST_SUITE(StreamSlots, StreamKinds);

TYPED_TEST(StreamSlots, ReadThroughTheBaseGivesTheTypedItem) {
    auto const source = ScriptedStream<TypeParam>::Create({Maker<TypeParam>::Make()});
    iptr<IStream> const base = source;
    Seek(*base, 0);
    iptr<IData> const item = base->Read();
    ASSERT_NE(item, nullptr);
    EXPECT_NE(dynamic_cast<typename TypeParam::DataType*>(item.get()), nullptr);
    EXPECT_EQ(item->GetTime(), 10);
    EXPECT_EQ(base->Read(), nullptr);
}

TYPED_TEST(StreamSlots, ReadThroughTheTypedInterfaceIsTyped) {
    iptr<TypeParam> const stream = ScriptedStream<TypeParam>::Create({Maker<TypeParam>::Make()});
    static_assert(std::is_same_v<decltype(stream->Read()), iptr<typename TypeParam::DataType>>);
    EXPECT_EQ(stream->Read()->GetTime(), 10);
}

TYPED_TEST(StreamSlots, FormatThroughTheBaseIsTheTypedOne) {
    auto const source = ScriptedStream<TypeParam>::Create({});
    IStream const& base = *source;
    EXPECT_EQ(base.GetFormatCodecBase(), source->GetFormatCodec());
}

TYPED_TEST(StreamSlots, EveryOtherSlotIsReachedThroughTheBase) {
    auto const source = ScriptedStream<TypeParam>::Create({});
    source->duration = 77;
    IStream& base = *source;
    base.Initialize(Core::Property("name"));
    EXPECT_EQ(base.GetSettings().Name(), "ScriptedStream");
    EXPECT_EQ(base.GetDuration(), 77);
    EXPECT_EQ(base.GetPosition(), NO_VALUE);
    base.RequestSeek(5, source);
    base.DoSeek();
    EXPECT_TRUE(base.FinishSeek());
    EXPECT_FALSE(base.IsEndOfStream());
    base.SetEndOfStream();
    EXPECT_TRUE(base.IsEndOfStream());
    base.ReleaseInternalData();
    EXPECT_EQ(base.GetStatistic().Children().size(), 1U);
    EXPECT_THAT(source->log.Take(), ElementsAre("Initialize(name)", "RequestSeek(5, context)", "DoSeek", "FinishSeek",
                                                "SetEndOfStream", "ReleaseInternalData"));
}

TEST(StreamSlotsRaw, RawStreamsSayWhatTheyCarry) {
    auto const source = ScriptedRaw::Create({});
    source->mediaType = MEDIA_TYPE_AUDIO;
    IStreamRaw const& stream = *source;
    EXPECT_EQ(stream.GetMediaType(), 2);
}

TEST(StreamTree, EveryInterfaceDerivesVirtuallySoThatDiamondsMeet) {
    class Both : public virtual IStreamVideoEx, public virtual IStreamVideoLockable {};
    static_assert(std::is_convertible_v<Both*, IStream*>);
    static_assert(std::is_convertible_v<Both*, IRefCountable*>);
    static_assert(std::is_convertible_v<Both*, ILockable*>);
    static_assert(std::is_convertible_v<IStreamController*, IRefCountable*>);
    static_assert(!std::is_convertible_v<IStreamVideo*, IStreamAudio*>);
}

TEST(Visitors, CollectorsTakeWhatTheyAskFor) {
    auto const decoder = FakeDecoder::Create();
    Visitors::InfoCollector info;
    Visitors::FrameTypeCollector types;
    Visitors::DecoderCollector decoders;
    for (IStreamVisitor* visitor : std::initializer_list<IStreamVisitor*>{&info, &types, &decoders}) {
        Visitors::Visit(*visitor, "Filter", 5, nullptr);
        Visitors::Visit(*visitor, "Decoder", 2, decoder.get());
    }
    EXPECT_EQ(info.GetType(), 0);
    EXPECT_EQ(types.GetType(), 1);
    EXPECT_EQ(decoders.GetType(), 2);
    EXPECT_THAT(info.names, ElementsAre("Filter", "Decoder"));
    EXPECT_THAT(types.frameTypes, ElementsAre(5, 2));
    ASSERT_EQ(decoders.decoders.size(), 1U);
    EXPECT_EQ(decoders.decoders[0]->GetImplName(), "fake");
}

TEST(Visitors, UnknownKindIsRefusedByTheFirstFilter) {
    auto const source = ScriptedVideo::Create({});
    auto const filter = MakeShared<ScriptedFilter<IStreamVideo>>(source);
    Stranger stranger;
    EXPECT_EQ(MessageOf<std::logic_error>([&] { filter->Accept(stranger); }), "Unknown visitor type");
}

TEST(Visitors, CollectorOfAnotherClassThanItsKindIsRefused) {
    Liar liar;
    EXPECT_THROW(Visitors::Visit(liar, "Filter", 5, nullptr), std::bad_cast);
}

TEST(Protocol, EmptySourceSoughtTo0GivesNull) {
    auto const source = ScriptedVideo::Create({});
    source->duration = 0;
    auto const filter = MakeShared<ScriptedFilter<IStreamVideo>>(source);
    Seek(*filter, 0);
    EXPECT_EQ(filter->Read(), nullptr);
    EXPECT_EQ(filter->Read(), nullptr);
}

TEST(Protocol, ItemsWithoutTimesPassAStream) {
    auto const source = ScriptedVideo::Create({MakeVideo(NO_VALUE, NO_VALUE)});
    auto const filter = MakeShared<ScriptedFilter<IStreamVideo>>(source);
    EXPECT_THAT(ReadAll(*filter), ElementsAre(IsVideo(NO_VALUE, NO_VALUE)));
}

}  // namespace
}  // namespace Tarsel::Proc
