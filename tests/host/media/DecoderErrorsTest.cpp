#include "host/media/DecoderErrors.h"

#include <gtest/gtest.h>

namespace Tarsel::Host {
namespace {

using Core::Property;

Property Decoder(int64 errors, int64 damaged) {
    Property decoder("decoder");
    decoder.SetChild("Decoder errors", errors);
    decoder.SetChild("Damaged packets", damaged);
    return decoder;
}

TEST(DecoderErrors, AreNotToldWhereThereAreNone) {
    EXPECT_EQ("", DescribeDecoderErrors(Property("filter")));
    EXPECT_EQ("", DescribeDecoderErrors(Decoder(0, 0)));
}

TEST(DecoderErrors, AreCountedInTheWholeTree) {
    EXPECT_EQ("decoders told of 1 error", DescribeDecoderErrors(Decoder(1, 0)));
    Property mixer("mixer");
    mixer.Add(Decoder(2, 0));
    Property filter("filter");
    filter.Add(Decoder(3, 0));
    mixer.Add(filter);
    EXPECT_EQ("decoders told of 5 errors", DescribeDecoderErrors(mixer));
}

TEST(DecoderErrors, IncludePacketsThatAreRefusedWithoutAWord) {
    EXPECT_EQ("decoders told of 2 errors", DescribeDecoderErrors(Decoder(0, 2)));
    EXPECT_EQ("decoders told of 4 errors", DescribeDecoderErrors(Decoder(4, 1))) << "a packet with several words";
}

}  // namespace
}  // namespace Tarsel::Host
