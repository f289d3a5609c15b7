// MD5 of byte strings and 16-bit samples: the RFC 1321 suite, every padding boundary, arbitrary
// splits of one message over updates, the bit count's carry, the context as callers see it.
// Image digest: FFmpeg's per-frame MD5 of 4:2:0 and grey frames of odd sizes, whole and cropped
// (tests/data/md5, made by make_frames.sh), reproduced from padded, aligned images whose margins
// hold garbage; and, for every planar format, the set of frame bytes the digest depends on.
#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "checkasm.h"
#include "ozmu.h"

namespace {

using namespace ozmu::test;

std::string hex(const uint8_t *digest)
{
    static const char kDigits[] = "0123456789abcdef";
    std::string s;
    for (int i = 0; i < 16; ++i)
        s += {kDigits[digest[i] >> 4], kDigits[digest[i] & 15]};
    return s;
}

std::string md5(const void *data, size_t size)
{
    ozmu_md5_ctx ctx{};
    uint8_t digest[16];
    ozmu_md5_update(ozmu_md5_init(&ctx), static_cast<const uint8_t *>(data), unsigned(size));
    ozmu_md5_finish(&ctx, digest);
    return hex(digest);
}
std::string md5(const std::string &s) { return md5(s.data(), s.size()); }

TEST(Md5, Rfc1321Suite)
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
         "57edf4a22be3c955ac49da2e2107b67a"}};
    for (const auto &[message, digest] : suite)
        EXPECT_EQ(md5(message), digest) << '"' << message << '"';
    EXPECT_EQ(md5(std::string(1000000, 'a')), "7707d6ae4e027c70eea2a935c2296f21");
}

// Every message length from 0 to 300 (both padding branches around 55/56 and every block
// boundary) folded into one digest recorded from an independent implementation.
TEST(Md5, EveryLengthAcrossThePaddingBoundaries)
{
    std::vector<uint8_t> pattern(300);
    for (size_t i = 0; i < pattern.size(); ++i)
        pattern[i] = uint8_t((i * 29 + 11) % 251);
    ozmu_md5_ctx all{};
    ozmu_md5_init(&all);
    for (size_t n = 0; n <= pattern.size(); ++n) {
        ozmu_md5_ctx ctx{};
        uint8_t digest[16];
        ozmu_md5_update(ozmu_md5_init(&ctx), pattern.data(), unsigned(n));
        ozmu_md5_finish(&ctx, digest);
        ozmu_md5_update(&all, digest, 16);
    }
    uint8_t digest[16];
    ozmu_md5_finish(&all, digest);
    EXPECT_EQ(hex(digest), "327683e4cbf57ea992067029df352b7a");
}

// Random cuts, empty pieces included, mixing byte and sample updates at odd buffer offsets.
TEST(Md5, AnySplitOfAMessageGivesOneDigest)
{
    Rng rng(1);
    for (int trial = 0; trial < 300; ++trial) {
        const size_t size = size_t(rng.range(0, trial < 250 ? 700 : 5000)) & ~size_t{1};
        std::vector<uint16_t> samples(size / 2 + 1);
        rng.fill(samples.data(), samples.size() * 2);
        // The samples' bytes as a little-endian host holds them.
        const auto *bytes = reinterpret_cast<const uint8_t *>(samples.data());
        ozmu_md5_ctx ctx{};
        ozmu_md5_init(&ctx);
        for (size_t at = 0; at < size;) {
            const size_t piece = std::min(size - at, size_t(rng.range(0, trial & 1 ? 70 : 1200)));
            if (at % 2 == 0 && piece % 2 == 0 && rng.coin())
                ozmu_md5_update_16(&ctx, samples.data() + at / 2, unsigned(piece / 2));
            else
                ozmu_md5_update(&ctx, bytes + at, unsigned(piece));
            at += piece;
        }
        EXPECT_EQ(ctx.count[0], size * 8);
        uint8_t digest[16];
        ozmu_md5_finish(&ctx, digest);
        ASSERT_EQ(hex(digest), md5(bytes, size)) << "trial " << trial << " size " << size;
    }
}

TEST(Md5, SamplesEnterLowByteFirst)
{
    const uint16_t samples[] = {0x0201, 0x0403};
    ozmu_md5_ctx ctx{};
    uint8_t digest[16];
    ozmu_md5_update_16(ozmu_md5_init(&ctx), samples, 2);
    ozmu_md5_finish(&ctx, digest);
    EXPECT_EQ(hex(digest), md5("\x01\x02\x03\x04"));
}

// The count is a 64-bit bit count in two words: the low word's wrap carries, and the padding
// carries both words (compared with the padded block hashed through ozmu_md5_trans).
TEST(Md5, BitCountCarriesAndEntersThePadding)
{
    Rng rng(2);
    for (int index = 0; index < 64; ++index) {
        ozmu_md5_ctx ctx{};
        ozmu_md5_init(&ctx);
        rng.fill(ctx.state, sizeof ctx.state);
        rng.fill(ctx.buffer, sizeof ctx.buffer);
        // Just below a wrap of the low word, at byte `index` of the block.
        ctx.count[0] = 0xFFFFFE00u | uint32_t(index) << 3;
        ctx.count[1] = rng.u32() >> 1;
        const ozmu_md5_ctx before = ctx;
        uint8_t message[64];
        rng.fill(message, sizeof message);
        const int len = rng.range(0, 63 - index);
        ozmu_md5_update(&ctx, message, unsigned(len));
        const uint64_t bits = (uint64_t{before.count[1]} << 32 | before.count[0]) + 8u * len;
        ASSERT_EQ(ctx.count[0], uint32_t(bits));
        ASSERT_EQ(ctx.count[1], uint32_t(bits >> 32));

        uint8_t block[128] = {};
        std::memcpy(block, before.buffer, index);
        std::memcpy(block + index, message, len);
        const int end = index + len, blocks = end < 56 ? 1 : 2;
        block[end] = 0x80;
        for (int k = 0; k < 8; ++k)
            block[64 * blocks - 8 + k] = uint8_t(bits >> 8 * k);
        uint32_t state[4], words[16];
        std::memcpy(state, before.state, sizeof state);
        for (int b = 0; b < blocks; ++b) {
            std::memcpy(words, block + 64 * b, 64);  // little-endian hosts
            ozmu_md5_trans(state, words);
        }
        uint8_t digest[16];
        ozmu_md5_finish(&ctx, digest);
        EXPECT_TRUE(same_bytes(state, digest, 16)) << "index " << index << " len " << len;
        const ozmu_md5_ctx zero{};
        EXPECT_TRUE(same_bytes(&zero, &ctx, sizeof ctx));
    }
}

// init loads the chaining values and clears only the low count word.
TEST(Md5, InitLeavesTheHighCountAndBuffer)
{
    ozmu_md5_ctx ctx;
    std::memset(&ctx, 0xAB, sizeof ctx);
    ozmu_md5_ctx expected = ctx;
    expected.state[0] = 0x67452301u, expected.state[1] = 0xefcdab89u;
    expected.state[2] = 0x98badcfeu, expected.state[3] = 0x10325476u;
    expected.count[0] = 0;
    EXPECT_EQ(ozmu_md5_init(&ctx), &ctx);
    EXPECT_TRUE(same_bytes(&expected, &ctx, sizeof ctx));
}

const std::string kDataDir = OZMU_TEST_DATA_DIR "/md5/";

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
    std::ifstream table(kDataDir + "frames.tsv");
    std::string line, file, pix_fmt, expected;
    std::getline(table, line);  // header
    Rng rng(3);
    int checked = 0;
    while (std::getline(table, line)) {
        std::istringstream cells(line);
        int width, height, x, y, frame;
        SCOPED_TRACE(line);
        ASSERT_TRUE(cells >> file >> pix_fmt >> width >> height >> x >> y >> frame >> expected);
        std::ifstream in(kDataDir + file, std::ios::binary);
        const std::vector<uint8_t> raw{std::istreambuf_iterator<char>(in), {}};
        const bool grey = pix_fmt == "gray";
        ASSERT_TRUE(grey || pix_fmt == "yuv420p");
        const int cw = (width + 1) / 2, ch = (height + 1) / 2;
        const size_t frame_bytes = size_t(width) * height + (grey ? 0 : 2 * size_t(cw) * ch);
        ASSERT_LE((frame + 1) * frame_bytes, raw.size());

        // The frame as a decoder's grey or 4:2:0 picture; the frame's other bytes are noise.
        Image image(rng, grey ? OZMU_CS_YUV400 : OZMU_CS_YUV420, width, height);
        const uint8_t *src = raw.data() + frame * frame_bytes;
        for (int i = 0; i < (grey ? 1 : 3); ++i)
            for (int r = 0; r < (i ? ch : height); ++r, src += i ? cw : width)
                std::memcpy(image.row(i, r), src, i ? cw : width);
        image.img->x = x, image.img->y = y;
        EXPECT_EQ(digest_of(image.img), expected);
        ++checked;
    }
    EXPECT_GE(checked, 30);
}

// Flipping any one byte of the frame changes the digest exactly when the byte lies in a hashed
// row: luma rows y.. of width - x bytes, chroma rows y / 2.. of (width + 1 - x) / 2 bytes, for
// every planar format (never alpha, never more of a 16-bit row).
TEST(ImageMd5, DependsOnExactlyTheHashedBytes)
{
    const int formats[] = {10, 11, 12, 13, 18, 20, 22, 41, 42, 43, 44, 60, 61, 62, 63, 64};
    Rng rng(4);
    for (int cs : formats)
        for (int shape = 0; shape < 3; ++shape) {
            const int width = rng.range(1, 9), height = rng.range(2, 6);  // 4:1:1 reads ahead
            Image image(rng, cs, width, height, 6);
            ozmu_imgb *img = image.img;
            img->x = rng.range(0, width), img->y = rng.range(0, height);
            SCOPED_TRACE("cs " + std::to_string(cs) + " " + std::to_string(width) + "x" +
                         std::to_string(height) + " from " + std::to_string(img->x) + "," +
                         std::to_string(img->y));
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
}

TEST(ImageMd5, RefusesPackedAndUnknownFormats)
{
    ozmu_imgb rec{};  // only the format is looked at
    for (int cs : {-1, 0, 9, 100, 200, 400, 500, 599, 600, 650, 700}) {
        rec.cs = cs;
        uint8_t digest[16];
        std::memset(digest, 0xC3, sizeof digest);
        EXPECT_EQ(ozmu_md5_imgb(&rec, digest), OZMU_ERR_UNSUPPORTED_CS) << cs;
        EXPECT_TRUE(same_bytes(std::vector<uint8_t>(16, 0xC3).data(), digest, 16)) << cs;
    }
}

}  // namespace
