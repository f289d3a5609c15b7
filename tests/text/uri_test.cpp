// URI splitting and escaping: each splitting rule and kept quirk once in a table, parsed into
// buffers of exactly the documented size, pre-filled with garbage and followed by canaries; the
// escaping conversions' byte rules and the unescaper's read past a final '%'. (fuzz/uri.cpp checks
// output sizes and round trips on arbitrary input.)
#include <memory>

#include "text_test.h"

namespace {

using namespace ozmu::test;

// "result scheme|host|port|path @rest", rest as an offset into the uri ("-" for null). The four
// outputs have strlen(uri) + 1 bytes each (1 for null); the uri sits against the page.
std::string parse(const char *uri)
{
    const size_t size = uri ? std::strlen(uri) + 1 : 1;
    CanaryBuffer out[4]{CanaryBuffer(size), CanaryBuffer(size), CanaryBuffer(size),
                        CanaryBuffer(size)};
    std::unique_ptr<GuardedText> text(uri ? new GuardedText(uri) : nullptr);
    const char *u = text ? text->str() : nullptr;
    const char *rest = "stale";
    const int result =
        ozmu_str_parse_uri(u, out[0].data(), out[1].data(), out[2].data(), out[3].data(), &rest);
    for (const CanaryBuffer &b : out)
        EXPECT_TRUE(b.margin_intact()) << (uri ? uri : "(null)");
    return std::to_string(result) + ' ' + out[0].text() + '|' + out[1].text() + '|' +
           out[2].text() + '|' + out[3].text() + " @" +
           (rest ? std::to_string(offset(u, rest)) : "-");
}

TEST(UriParse, Splits)
{
    const std::pair<const char *, const char *> cases[] = {
        {"rtsp://cam:554/live/ch1\r\nCSeq: 1", "0 rtsp|cam|554|/live/ch1 @25"},
        {"rtsp://box/a b", "0 rtsp|box||/a b @-"},
        {" \t udp://host", "0 udp|host|| @-"},
        {"rtsp://h//a", "0 rtsp|h||/a @-"},  // the first '/' only separates
        {"rtsp://h:554:1/x", "0 rtsp|h|554:1|/x @-"},
        // Nothing after the separator, or a colon that ends the authority (it stays in the host).
        {"http://host:8080/", "0 http|host|8080| @-"},
        {"http://host/", "0 http|host|| @-"},
        {"http://host:", "0 http|host:|| @-"},
        // The path is the rest of its line and needs LF after a CR; the next line is the rest.
        {"rtsp://h:554\r\nCSeq: 1", "0 rtsp|h|554| @14"},
        {"rtsp://h:1/a\rb", "0 rtsp|h|1| @-"},
        // An authority starting with '/' is all path, even a final line end.
        {"file:///x\n", "0 file|||/x\n @-"},
        // A line end before "://" ends the scheme; the host ends at the first ':' or line end.
        {"rtsp\nh/p", "0 rtsp|h||/p @-"},
        {"http://h/a:b", "0 http|h/a|b| @-"},
        // Failures keep what was filled before them.
        {"rtsp://h/a\r\nX", "-1 rtsp|h/a|| @-"},
        {"rtsp://h:/x", "-1 rtsp|h|| @-"},
        {"rtsp://", "-1 rtsp||| @-"},
        {"host/path", "-1 ||| @-"},
        {" \t\r\n", "-1 ||| @-"},
    };
    for (const auto &[uri, expected] : cases)
        EXPECT_EQ(parse(uri), expected) << '"' << uri << '"';
    EXPECT_EQ(parse(nullptr), "-1 ||| @-");
    char s[8], h[8], p[8], path[8];
    EXPECT_EQ(ozmu_str_parse_uri("a://b:1/c\nd", s, h, p, path, nullptr), 0);  // rest optional
    EXPECT_EQ(std::string(path), "/c");
}

// The converted bytes, NULs included, from a destination of exactly the documented size (three
// times the text for escaping); `after_nul` readable bytes of `pad` follow the text.
std::string convert(int (*conv)(const char *, char *), const std::string &text,
                    size_t after_nul = 0, char pad = 'x')
{
    GuardedText src(text, after_nul, pad);
    CanaryBuffer dst((conv == ozmu_str_conv_a2uri ? 3 : 1) * text.size() + 1);
    const int n = conv(src.str(), dst.data());
    EXPECT_TRUE(dst.margin_intact());
    EXPECT_EQ(dst.data()[n], '\0');
    return std::string(dst.data(), size_t(n));
}
const auto a2uri = ozmu_str_conv_a2uri;
const auto uri2a = ozmu_str_conv_uri2a;

TEST(UriEscape, OnlySpacesAreEscaped)
{
    EXPECT_EQ(convert(a2uri, "a b c"), "a%20b%20c");
    EXPECT_EQ(convert(a2uri, ""), "");
    std::string every_byte;
    for (int b = 1; b < 256; ++b)
        every_byte += char(b);
    std::string expected = every_byte;
    expected.replace(' ' - 1, 1, "%20");
    EXPECT_EQ(convert(a2uri, every_byte), expected);  // reserved bytes, '%' and '+' included
}

// Each digit decodes on its own as a decimal number: anything else counts 0.
TEST(UriEscape, OnlyDecimalDigitsDecode)
{
    const std::pair<const char *, std::string> cases[] = {
        {"a%20b", "a b"},
        {"%41", "A"},
        {"%2F", " "},
        {"%ff", std::string(1, '\0')},
        {"%99", "\x99"},
        {"a+b", "a+b"},
        {"%%41", "\x04"
                 "1"},
        {"", ""},
    };
    for (const auto &[text, expected] : cases)
        EXPECT_EQ(convert(uri2a, text), expected) << '"' << text << '"';
}

TEST(UriEscape, AFinalPercentReadsOneByteAfterTheNul)
{
    // The page follows the byte after the NUL: one byte further would fault.
    EXPECT_EQ(convert(uri2a, "a%", 1, '7'), "a\x07");
    EXPECT_EQ(convert(uri2a, "%", 1, 'x'), std::string(1, '\0'));
    EXPECT_EQ(convert(uri2a, "ab%3"), "ab0");  // the NUL is the second digit
}

}  // namespace
