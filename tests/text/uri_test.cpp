// URI splitting and escaping: the documented splits (quirks included) into buffers of exactly the
// documented size, pre-filled with garbage and followed by canaries; URIs composed from random
// parts that must come back apart; the two conversions against each other. (fuzz/uri.cpp checks
// the output sizes on arbitrary input.)
#include <algorithm>
#include <array>
#include <memory>
#include <vector>

#include "text_test.h"

namespace {

using namespace ozmu::test;

struct UriParts {
    UriParts(int result_ = 0, std::string scheme_ = "", std::string host_ = "",
             std::string port_ = "", std::string path_ = "", long rest_ = -1)
        : result(result_), scheme(scheme_), host(host_), port(port_), path(path_), rest(rest_)
    {
    }
    int result;
    std::string scheme, host, port, path;
    long rest;  // offset into the uri, -1 for null
    bool operator==(const UriParts &) const = default;
};

std::ostream &operator<<(std::ostream &os, const UriParts &p)
{
    return os << p.result << " [" << p.scheme << "] [" << p.host << "] [" << p.port << "] ["
              << p.path << "] rest " << p.rest;
}

// Parses into four buffers of exactly strlen(uri) + 1 bytes (1 for null) with canaries behind;
// the uri sits flush against an inaccessible page.
UriParts parse(const char *uri)
{
    const size_t size = uri ? std::strlen(uri) + 1 : 1;
    std::array<CanaryBuffer, 4> out{CanaryBuffer(size), CanaryBuffer(size), CanaryBuffer(size),
                                    CanaryBuffer(size)};
    for (CanaryBuffer &b : out)
        std::memset(b.data(), 'Z', size);  // no terminator: only the call can give one
    std::unique_ptr<GuardedText> text(uri ? new GuardedText(uri) : nullptr);
    const char *u = text ? text->str() : nullptr;
    const char *rest = "stale";
    UriParts p;
    p.result =
        ozmu_str_parse_uri(u, out[0].data(), out[1].data(), out[2].data(), out[3].data(), &rest);
    for (const CanaryBuffer &b : out)
        EXPECT_TRUE(b.margin_intact()) << (uri ? uri : "(null)");
    p.scheme = out[0].text(), p.host = out[1].text(), p.port = out[2].text(),
    p.path = out[3].text(), p.rest = offset(u, rest);
    return p;
}

TEST(UriParse, DocumentedSplits)
{
    const std::pair<const char *, UriParts> cases[] = {
        {"rtsp://cam:554/live/ch1\r\nCSeq: 1", {0, "rtsp", "cam", "554", "/live/ch1", 25}},
        {"rtsp://box/a b", {0, "rtsp", "box", "", "/a b"}},
        {"  udp://host", {0, "udp", "host"}},
        {"\r\n\t http://h:8080/index.html", {0, "http", "h", "8080", "/index.html"}},
        {"rtsp://h/a/b", {0, "rtsp", "h", "", "/a/b"}},
        {"rtsp://h//a", {0, "rtsp", "h", "", "/a"}},
        {"rtsp://h:554/a:b", {0, "rtsp", "h", "554", "/a:b"}},
        {"rtsp://h:554:1/x", {0, "rtsp", "h", "554:1", "/x"}},
        {"://x", {0, "", "x"}},
        // Nothing, or only the separator, after the host or port.
        {"http://host:8080", {0, "http", "host", "8080"}},
        {"http://host:8080/", {0, "http", "host", "8080"}},
        {"http://host/", {0, "http", "host"}},
        {"http://host:", {0, "http", "host:"}},
        // The path is the rest of its line; the next line is the rest.
        {"rtsp://h:554\r\nCSeq: 1", {0, "rtsp", "h", "554", "", 14}},
        {"rtsp://h:1/\r\nX", {0, "rtsp", "h", "1", "", 13}},
        {"rtsp://h:1/a\n", {0, "rtsp", "h", "1", "/a"}},
        {"rtsp://h:1/a\nb", {0, "rtsp", "h", "1", "/a", 13}},
        {"rtsp://h:1/a\rb", {0, "rtsp", "h", "1", ""}},  // a lone CR: no path
        {"rtsp://h/\n", {0, "rtsp", "h"}},
        // An authority starting with '/' is all path, even a final line end.
        {"file:///x", {0, "file", "", "", "/x"}},
        {"file:///x\n", {0, "file", "", "", "/x\n"}},
        // A line end before "://" ends the scheme; the authority follows the line end.
        {"rtsp\nh/p", {0, "rtsp", "h", "", "/p"}},
        // The host ends at the first ':' or line end, even beyond a '/'.
        {"http://h/a:b", {0, "http", "h/a", "b"}},
        {"rtsp://h/a\nX", {0, "rtsp", "h/a", "X"}},
        {"rtsp://h/a\r\nX", {-1, "rtsp", "h/a"}},
        {"file:///x\r\ny", {-1, "file", "/x"}},
        // Failures keep what was filled before them.
        {"rtsp://h:/x", {-1, "rtsp", "h"}},
        {"rtsp://", {-1, "rtsp"}},
        {"ab\r", {-1, "ab"}},
        {"host/path", {-1}},
        {"", {-1}},
        {" \t\r\n", {-1}},
    };
    for (const auto &[uri, expected] : cases)
        EXPECT_EQ(parse(uri), expected) << '"' << uri << '"';
    EXPECT_EQ(parse(nullptr), UriParts{-1});
    char s[8], h[8], p[8], path[8];
    EXPECT_EQ(ozmu_str_parse_uri("a://b:1/c", s, h, p, path, nullptr), 0);  // rest is optional
    EXPECT_EQ(std::string(path), "/c");
}

std::string random_of(Rng &rng, const char *alphabet, int lo, int hi)
{
    std::string s;
    for (int i = rng.range(lo, hi); i > 0; --i)
        s += alphabet[rng.range(0, int(std::strlen(alphabet)) - 1)];
    return s;
}

// Well-formed URIs from random parts: every part comes back. A following line needs a port (a
// portless URI takes the line end for the port's colon).
TEST(UriParse, ComposedUrisComeBackApart)
{
    Rng rng(0x0421);
    for (int round = 0; round < 4000; ++round) {
        const std::string lead = random_of(rng, " \t\r\n", 0, 3);
        const std::string scheme = random_of(rng, "abcrtsp0123+.-", 0, 8);
        const std::string host = random_of(rng, "abcdefgh0123456789.-[]", 1, 12);
        const std::string port = rng.coin() ? random_of(rng, "0123456789", 1, 5) : "";
        std::string path;
        if (!rng.range(0, 3))
            path = "/";
        else if (rng.coin())  // not "//": the first slash is the separator, not the path
            path.append("/")
                .append(random_of(rng, "abcz09_.~%?=&; ", 1, 1))
                .append(random_of(rng, port.empty() ? "abcz/09_.~%?=&; " : "ab/:% ", 0, 16));
        std::string tail, next_line;
        if (!port.empty() && rng.coin()) {
            next_line = random_of(rng, "CSeq: 1\r", 0, 10);
            tail = "\r\n" + next_line;
        }
        const std::string uri = lead + scheme + "://" + host + (port.empty() ? "" : ":" + port) +
                                path + tail;
        UriParts expected{0, scheme, host, port, path == "/" ? "" : path};
        if (!next_line.empty())
            expected.rest = long(uri.size() - next_line.size());
        ASSERT_EQ(parse(uri.c_str()), expected) << '"' << uri << '"';
    }
}

std::string a2uri(const std::string &text)
{
    GuardedText src(text);
    CanaryBuffer dst(3 * text.size() + 1);
    const int n = ozmu_str_conv_a2uri(src.str(), dst.data());
    EXPECT_TRUE(dst.margin_intact());
    EXPECT_EQ(dst.data()[n], '\0');
    return std::string(dst.data(), size_t(n));
}

// The decoded bytes, NULs inside included; `after_nul` readable bytes of `pad` follow the text.
std::string uri2a(const std::string &text, size_t after_nul = 0, char pad = 'x')
{
    GuardedText src(text, after_nul, pad);
    CanaryBuffer dst(text.size() + 1);
    const int n = ozmu_str_conv_uri2a(src.str(), dst.data());
    EXPECT_TRUE(dst.margin_intact());
    EXPECT_EQ(dst.data()[n], '\0');
    return std::string(dst.data(), size_t(n));
}

TEST(UriEscape, OnlySpacesAreEscaped)
{
    EXPECT_EQ(a2uri("a b c"), "a%20b%20c");
    EXPECT_EQ(a2uri(""), "");
    EXPECT_EQ(a2uri("  "), "%20%20");
    std::string every_byte;
    for (int b = 1; b < 256; ++b)
        every_byte += char(b);
    std::string expected = every_byte;
    expected.replace(0x1F, 1, "%20");
    EXPECT_EQ(a2uri(every_byte), expected);  // reserved bytes, '%' and controls included
}

TEST(UriEscape, OnlyDecimalDigitsDecode)
{
    const std::pair<const char *, std::string> cases[] = {
        {"a%20b", "a b"},          {"%41", "A"},         {"%2F", " "},
        {"%ff", std::string(1, '\0')}, {"%99", "\x99"}, {"a+b", "a+b"},
        {"%%41", "\x04" "1"},      {"%-1", "\x01"},      {"% 9", "\x09"},
        {"%2", " "},               {"", ""},             {"100%25", "100%"},
    };
    for (const auto &[text, expected] : cases)
        EXPECT_EQ(uri2a(text), expected) << '"' << text << '"';
    // Every byte escaped as two upper-case hex digits: a letter counts 0.
    const auto digit = [](char c) { return c >= '0' && c <= '9' ? c - '0' : 0; };
    for (int b = 0; b < 256; ++b) {
        char escaped[4];
        std::snprintf(escaped, sizeof escaped, "%%%02X", b);
        const char want = char(16 * digit(escaped[1]) + digit(escaped[2]));
        EXPECT_EQ(uri2a(escaped), std::string(1, want)) << escaped;
        EXPECT_EQ(want == char(b), b % 16 < 10 && b / 16 < 10) << escaped;
    }
}

TEST(UriEscape, AFinalPercentReadsOneByteAfterTheNul)
{
    // The page follows the byte after the NUL: one byte further would fault.
    EXPECT_EQ(uri2a("a%", 1, '7'), "a\x07");
    EXPECT_EQ(uri2a("a%", 1, '\0'), std::string("a\0", 2));
    EXPECT_EQ(uri2a("a%", 1, 'x'), std::string("a\0", 2));
    EXPECT_EQ(uri2a("%", 1, '9'), "\x09");
    EXPECT_EQ(uri2a("ab%3"), "ab0");  // second to last: the NUL is the second digit
}

// Destinations of exactly the documented size are filled to their last byte.
TEST(UriEscape, DestinationSizesAreExact)
{
    for (size_t n = 0; n < 40; ++n) {
        EXPECT_EQ(a2uri(std::string(n, ' ')).size(), 3 * n);
        EXPECT_EQ(uri2a(std::string(n, 'q')).size(), n);
    }
}

TEST(UriEscape, EscapedTextComesBack)
{
    Rng rng(0xE5C);
    for (int round = 0; round < 3000; ++round) {
        std::string text;
        for (int i = rng.range(0, 30); i > 0; --i) {
            const char c = rng.coin() ? ' ' : char(rng.range(1, 255));
            text += c == '%' ? ' ' : c;
        }
        const std::string escaped = a2uri(text);
        EXPECT_EQ(escaped.find(' '), std::string::npos);
        const size_t spaces = size_t(std::count(text.begin(), text.end(), ' '));
        EXPECT_EQ(escaped.size(), text.size() + 2 * spaces);
        EXPECT_EQ(uri2a(escaped), text);
    }
}

}  // namespace
