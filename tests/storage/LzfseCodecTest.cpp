#include "storage/LzfseCodec.h"

#include <QRandomGenerator>
#include <gtest/gtest.h>

using velmox::LzfseCodec;

TEST(LzfseCodec, RoundTripsAndRejectsAWrongLengthOrACutBlock) {
    QByteArray input;
    for (int i = 0; i < 20000; ++i)
        input += QByteArray::number(i % 97) + "/Library/Caches/";
    const auto compressed = LzfseCodec::compress(input);
    ASSERT_TRUE(compressed.has_value());
    EXPECT_LT(compressed->size(), input.size() / 4);

    const auto decoded = LzfseCodec::decompress(*compressed, input.size());
    ASSERT_TRUE(decoded.has_value()) << decoded.error().toStdString();
    EXPECT_EQ(*decoded, input);
    EXPECT_FALSE(LzfseCodec::decompress(*compressed, input.size() - 1).has_value());
    EXPECT_FALSE(LzfseCodec::decompress(*compressed, input.size() + 1).has_value());
    EXPECT_FALSE(
        LzfseCodec::decompress(compressed->left(compressed->size() / 2), input.size()).has_value());
}

TEST(LzfseCodec, ReportsIncompressibleAndEmptyInput) {
    QByteArray noise(64 * 1024, Qt::Uninitialized);
    QRandomGenerator generator(42);
    generator.fillRange(reinterpret_cast<quint32*>(noise.data()), noise.size() / 4);
    EXPECT_FALSE(LzfseCodec::compress(noise).has_value());
    EXPECT_FALSE(LzfseCodec::compress(QByteArray()).has_value());
}
