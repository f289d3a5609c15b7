// MD5 of bytes and 16-bit samples: the RFC 1321 suite, every padding boundary, arbitrary splits
// of one message over updates, the bit count's carry, the context as callers see it. Image
// digest: FFmpeg's per-frame MD5 (tests/data/md5, made by make_frames.sh) from padded, aligned
// images with garbage margins; for every planar format, the frame bytes the digest depends on.
#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "checkasm.h"
#include "ozmu.h"

namespace {

using namespace ozmu::test;

std::string hex(const uint8_t *digest)
{
    std::string s;
    for (int i = 0; i < 16; ++i)
        s += {"0123456789abcdef"[digest[i] >> 4], "0123456789abcdef"[digest[i] & 15]};
    return s;
}

std::string md5(const std::string &message, size_t size = std::string::npos)
{
    ozmu_md5_ctx ctx{};
    uint8_t digest[16];
    const auto *bytes = reinterpret_cast<const uint8_t *>(message.data());
    ozmu_md5_update(ozmu_md5_init(&ctx), bytes, unsigned(std::min(size, message.size())));
    ozmu_md5_finish(&ctx, digest);
    return hex(digest);
}

// Also every length from 0 to 300 (both padding branches, every block boundary): the digests'
// hex concatenated and hashed, as recorded from an independent implementation.
TEST(Md5, KnownDigests)
{
    const std::pair<std::string, const char *> suite[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
         "d174ab98d277d9f5a5611c2c9f419d9f"},
        {"1234567890123456789012345678901234567890123456789012345678901234567890"
         "1234567890",
         "57edf4a22be3c955ac49da2e2107b67a"},
        {std::string(1000000, 'a'), "7707d6ae4e027c70eea2a935c2296f21"}};
    for (const auto &[message, digest] : suite)
        EXPECT_EQ(md5(message), digest) << '"' << message.substr(0, 80) << '"';

    std::string pattern, digests;
    for (size_t i = 0; i < 300; ++i)
        pattern += char((i * 29 + 11) % 251);
    for (size_t n = 0; n <= pattern.size(); ++n)
        digests += md5(pattern, n);
    EXPECT_EQ(md5(digests), "3cb53b0245a585ca3b101be9745f8934");
}

// Random cuts, empty pieces included, mixing byte and sample updates at odd buffer offsets;
// the reference hashes the samples low byte first.
TEST(Md5, AnySplitOfAMessageGivesOneDigest)
{
    Rng rng(1);
    for (int trial = 0; trial < 300; ++trial) {
        const size_t size = size_t(rng.range(0, trial < 250 ? 700 : 5000)) & ~size_t{1};
        std::vector<uint16_t> samples(size / 2 + 1);
        rng.fill(samples.data(), samples.size() * 2);
        std::string bytes(size, 0);
        for (size_t i = 0; i < size; ++i)
            bytes[i] = char(samples[i / 2] >> (i & 1) * 8);
        const auto *data = reinterpret_cast<const uint8_t *>(bytes.data());
        ozmu_md5_ctx ctx{};
        ozmu_md5_init(&ctx);
        for (size_t at = 0, piece; at < size; at += piece) {
            piece = std::min(size - at, size_t(rng.range(0, trial & 1 ? 70 : 1200)));
            if (at % 2 == 0 && piece % 2 == 0 && rng.coin())
                ozmu_md5_update_16(&ctx, samples.data() + at / 2, unsigned(piece / 2));
            else
                ozmu_md5_update(&ctx, data + at, unsigned(piece));
        }
        uint8_t digest[16];
        ozmu_md5_finish(&ctx, digest);
        ASSERT_EQ(hex(digest), md5(bytes)) << "trial " << trial << " size " << size;
    }
}

// init loads the chaining values and clears only the low count word. The count is a 64-bit bit
// count whose low word's wrap carries; the padding holds both words (checked against the padded
// blocks hashed through ozmu_md5_trans), and finish wipes the context.
TEST(Md5, ContextCountAndPadding)
{
    const uint32_t chaining[4] = {0x67452301u, 0xefcdab89u, 0x98badcfeu, 0x10325476u};
    Rng rng(2);
    for (int end = 0; end < 128; ++end) {  // every end, so both padding branches at each offset
        const int index = rng.range(0, std::min(end, 63)), len = end - index;
        const int blocks = (end + 8) / 64 + 1;
        ozmu_md5_ctx ctx, expected;
        rng.fill(&ctx, sizeof ctx);
        ctx.count[1] >>= 1;
        expected = ctx;
        std::memcpy(expected.state, chaining, 16);
        expected.count[0] = 0;
        ASSERT_EQ(ozmu_md5_init(&ctx), &ctx);
        ASSERT_TRUE(same_bytes(&expected, &ctx, sizeof ctx));
        ctx.count[0] = 0xFFFFFE00u | uint32_t(index) << 3;  // the low word wraps past byte 63
        const ozmu_md5_ctx before = ctx;
        uint8_t block[256] = {};  // the padded message after the buffered bytes
        std::memcpy(block, before.buffer, index);
        rng.fill(block + index, len);
        ozmu_md5_update(&ctx, block + index, unsigned(len));
        const uint64_t bits = (uint64_t{before.count[1]} << 32 | before.count[0]) + 8u * len;
        ASSERT_EQ(uint64_t{ctx.count[1]} << 32 | ctx.count[0], bits);

        block[end] = 0x80;
        for (int k = 0; k < 8; ++k)
            block[64 * blocks - 8 + k] = uint8_t(bits >> 8 * k);
        ozmu_md5_ctx ref = before;
        for (int b = 0; b < blocks; ++b) {
            uint32_t words[16];
            std::memcpy(words, block + 64 * b, 64);  // little-endian hosts
            ozmu_md5_trans(ref.state, words);
        }
        uint8_t digest[16];
        ozmu_md5_finish(&ctx, digest);
        EXPECT_TRUE(same_bytes(ref.state, digest, 16)) << "index " << index << " len " << len;
        const ozmu_md5_ctx zero{};
        EXPECT_TRUE(same_bytes(&zero, &ctx, sizeof ctx));
    }
}

std::string digest_of(const ozmu_imgb *img)
{
    uint8_t digest[16];
    EXPECT_EQ(ozmu_md5_imgb(img, digest), OZMU_OK);
    return hex(digest);
}

struct Image {  // an image of random alignment and border, every byte of its frame random
    ozmu_imgb *img;
    Image(Rng &rng, int cs, int width, int height, int max_pad = 40)
    {
        uint32_t align[4], pad[4];
        for (int i = 0; i < 4; ++i)
            align[i] = OZMU_HV(1 << rng.range(0, 6), 1 << rng.range(0, 3)),
            pad[i] = OZMU_HV(rng.range(0, max_pad), rng.range(0, max_pad / 2));
        int err = 1;
        img = ozmu_imgb_create(width, height, cs, 0, align, pad, nullptr, nullptr, &err);
        EXPECT_EQ(err, OZMU_OK);
        rng.fill(img->frame_base[0], img->frame_size);
    }
    ~Image() { img->release(img); }
    uint8_t *row(int plane, int r)
    {
        return static_cast<uint8_t *>(img->plane[plane]) + ptrdiff_t{r} * img->stride[plane];
    }
};

TEST(ImageMd5, MatchesFfmpegFrameDigests)
{
    const std::string dir = OZMU_TEST_DATA_DIR "/md5/";
    std::ifstream table(dir + "frames.tsv");
    std::string line, file, pix_fmt, expected;
    std::getline(table, line);  // header
    Rng rng(3);
    int checked = 0;
    for (; std::getline(table, line); ++checked) {
        std::istringstream cells(line);
        int width, height, x, y, frame;
        SCOPED_TRACE(line);
        ASSERT_TRUE(cells >> file >> pix_fmt >> width >> height >> x >> y >> frame >> expected);
        const bool grey = pix_fmt == "gray";
        ASSERT_TRUE(grey || pix_fmt == "yuv420p");
        const int cw = (width + 1) / 2, ch = (height + 1) / 2;
        std::ifstream in(dir + file, std::ios::binary);
        in.seekg(std::streamoff(frame) * (width * height + (grey ? 0 : 2 * cw * ch)));
        Image image(rng, grey ? OZMU_CS_YUV400 : OZMU_CS_YUV420, width, height);
        for (int i = 0; i < (grey ? 1 : 3); ++i)
            for (int r = 0; r < (i ? ch : height); ++r)
                in.read(reinterpret_cast<char *>(image.row(i, r)), i ? cw : width);
        ASSERT_TRUE(in) << "short file";
        image.img->x = x, image.img->y = y;
        EXPECT_EQ(digest_of(image.img), expected);
    }
    EXPECT_GE(checked, 30);
}

// Flipping any one byte of the frame changes the digest exactly when the byte lies in a hashed
// row: luma rows y.. of width - x bytes, chroma rows y / 2.. of (width + 1 - x) / 2 bytes, for
// every planar format (never alpha, never more of a 16-bit row). Other formats are refused
// before the digest is written.
TEST(ImageMd5, DependsOnExactlyTheHashedBytes)
{
    Rng rng(4);
    for (int cs : {10, 11, 12, 13, 18, 20, 22, 41, 42, 43, 44, 60, 61, 62, 63, 64})
        for (int shape = 0; shape < 3; ++shape) {
            const int width = rng.range(1, 9), height = rng.range(2, 6);  // 4:1:1 reads ahead
            Image image(rng, cs, width, height, 6);
            ozmu_imgb *img = image.img;
            img->x = rng.range(0, width), img->y = rng.range(0, height);
            SCOPED_TRACE(testing::Message() << "cs " << cs << " " << width << "x" << height
                                            << " from " << img->x << "," << img->y);
            auto *frame = static_cast<uint8_t *>(img->frame_base[0]);
            std::vector<bool> hashed(img->frame_size);
            auto mark = [&](int i, int first, int end, int bytes) {
                for (int r = first; r < end; ++r)
                    for (int k = 0; k < bytes; ++k)
                        hashed.at(size_t(image.row(i, r) + k - frame)) = true;
            };
            mark(0, img->y, height, width - img->x);
            for (int i = 1; i <= 2 && cs != OZMU_CS_YUV400 && cs != OZMU_CS_YUV400_16; ++i)
                mark(i, img->y >> 1, (height + 1) >> 1, (width + 1 - img->x) >> 1);

            const std::string base = digest_of(img);
            for (size_t at = 0; at < hashed.size(); ++at) {
                frame[at] ^= 0x5A;
                ASSERT_EQ(digest_of(img) != base, hashed[at]) << "frame byte " << at;
                frame[at] ^= 0x5A;
            }
        }

    ozmu_imgb rec{};  // only the format is looked at
    for (int cs : {-1, 0, 9, 100, 200, 400, 500, 599, 600, 650, 700}) {
        uint8_t digest[16];
        std::memset(digest, 0xC3, 16);
        rec.cs = cs;
        EXPECT_EQ(ozmu_md5_imgb(&rec, digest), OZMU_ERR_UNSUPPORTED_CS) << cs;
        EXPECT_EQ(std::count(digest, digest + 16, 0xC3), 16) << cs;
    }
}

}  // namespace
