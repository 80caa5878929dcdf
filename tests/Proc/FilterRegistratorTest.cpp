#include "Proc/Filters/Filters/FilterRegistrator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "contracts/Core/Exception.h"
#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"
#include "tests/support/OtherSettings.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;

/// A filter whose settings can be refused, and whose objects are counted.
class Picky : public StreamImpl<IStreamVideo, IStreamVideoEx> {
  public:
    inline static int alive = 0;
    inline static int initialized = 0;

    explicit Picky(iptr<IStreamVideo> source) : StreamImpl(std::move(source), false) { ++alive; }
    ~Picky() override {
        StopReaderThread();
        --alive;
    }
    void Initialize(Core::Property const&) override { TARSEL_THROW(FilterException, "Method not implemented"); }
    void Initialize(Settings const&) override {
        ++initialized;
        if (refuse) TARSEL_THROW(FilterException, "Wrong settings!");
    }
    Core::Property GetSettings() override { return {}; }
    Core::Property GetStatistic() override { return parentStream->GetStatistic(); }
    iptr<Conf::IFormatCodecVideo const> GetFormatCodec() const override { return parentStream->GetFormatCodec(); }

    inline static bool refuse = false;

  protected:
    void AcceptInternal(IStreamVisitor&) override {}
    iptr<IDataVideo> ReadInternal() override { return parentStream->Read(); }
    void RequestSeekInternal(int64 position, iptr<IRefCountable> const& context) override {
        parentStream->RequestSeek(position, context);
    }
    void DoSeekInternal() override { parentStream->DoSeek(); }
};

TEST(MakeInitialized, MakesTheFilterAndInitializesItOnce) {
    Picky::refuse = false;
    Picky::initialized = 0;
    iptr<IStreamVideo> const source = ScriptedVideo::Create({});
    {
        auto const filter = Details::MakeInitialized<IStreamVideoEx, Picky>(OtherSettings(), source);
        EXPECT_EQ(Picky::alive, 1);
        EXPECT_EQ(Picky::initialized, 1);
        EXPECT_EQ(filter->GetRefCountImpl(), 1U);
    }
    EXPECT_EQ(Picky::alive, 0);
}

TEST(MakeInitialized, ReleasesTheFilterWhenItRefusesTheSettings) {
    Picky::refuse = true;
    iptr<IStreamVideo> const source = ScriptedVideo::Create({});
    EXPECT_EQ(
        MessageOf<FilterException>([&] { Details::MakeInitialized<IStreamVideoEx, Picky>(OtherSettings(), source); }),
        "Wrong settings!");
    EXPECT_EQ(Picky::alive, 0);
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
}

TEST(MakeInitialized, FailureOfTheConstructorPassesThrough) {
    EXPECT_EQ(MessageOf<std::invalid_argument>(
                  [] { Details::MakeInitialized<IStreamVideoEx, Picky>(OtherSettings(), iptr<IStreamVideo>()); }),
              "parentStream is NULL.");
    EXPECT_EQ(Picky::alive, 0);
}

}  // namespace
}  // namespace Tarsel::Proc
