// Who accepts gzip, and what they get.
// Not a test of zlib.
// Nothing here comes from the protocol of the Gateways.
#include "http/compression.h"

#include <gmock/gmock.h>

#include <initializer_list>

namespace {

using tools::exporter::http::acceptsGzip;
using tools::exporter::http::gzip;

TEST(HttpCompression, GzipIsAcceptedByItsNameInAnyCaseWithAnyWeightAboveZeroAndByAStar) {
    for (const auto* header :
         {"gzip", "GZip", "x-gzip", "deflate, gzip", "br;q=1.0, gzip;q=0.8, *;q=0.1", "gzip ; q=1",
          "gzip;q=0.001", "*", "gzip;x=1", " ,, gzip\t", "gzip;q=1.", "gzip;q=1.000",
          "identity;q=0, gzip;q=0.1", "identity;q=0.5, gzip;q=0.50", "gzip, identity"}) {
        EXPECT_TRUE(acceptsGzip(header)) << header;
    }
}

TEST(HttpCompression, GzipIsNotAcceptedByAWeightOfZeroByOtherNamesAndByNothing) {
    for (const auto* header : {"", "identity", "gzip;q=0", "gzip;q=0.000", "gzip; Q=0", "gzip;q=0.", "*;q=0",
                               "gzip;q=0, *", "*, gzip;q=0", "gzipped", "deflate;gzip", "br"}) {
        EXPECT_FALSE(acceptsGzip(header)) << header;
    }
}

TEST(HttpCompression, GzipIsNotAcceptedByAWeightThatIsNone) {
    for (const auto* header : {"gzip;q=abc", "gzip;q", "gzip;q=", "gzip;q=-1", "gzip;q=2", "gzip;q=1.1",
                               "gzip;q=0.1234", "gzip;q=.5", "gzip;q=0x1", "gzip;q=1;q=a", "*;q=nan"}) {
        EXPECT_FALSE(acceptsGzip(header)) << header;
    }
}

TEST(HttpCompression, GzipIsNotAcceptedByWhomThePlainTextIsDearer) {
    for (const auto* header : {"identity;q=1, gzip;q=0.5", "gzip;q=0.5, identity", "*;q=0.1, identity;q=0.2",
                               "gzip;q=0.999, identity;q=1"}) {
        EXPECT_FALSE(acceptsGzip(header)) << header;
    }
}

TEST(HttpCompression, ATextThatRepeatsItselfBecomesMuchSmallerAndBeginsAsGzipDoes) {
    const auto compressed = gzip(std::string(100000, 'x'));
    EXPECT_LT(compressed.size(), 1000U);
    EXPECT_EQ(compressed.substr(0, 3), "\x1f\x8b\x08");
}

}  // namespace
