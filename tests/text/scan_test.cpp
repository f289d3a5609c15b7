// String scanners and tokenisers: the end-of-string rules as explicit cases, the character classes
// byte by byte, and random texts cut into lines and fields and put back together. Every text sits
// flush against an inaccessible page, so a read past its NUL faults. (fuzz/str.cpp checks the
// result invariants on arbitrary input.)
#include <functional>
#include <vector>

#include "text_test.h"

namespace {

using namespace ozmu::test;
using Mover = const char *(*)(const char *);

struct MoveCase {
    const char *text;
    long expected;  // offset of the result, -1 for null
};

void expect_moves(Mover move, std::initializer_list<MoveCase> cases)
{
    for (const MoveCase &c : cases) {
        GuardedText g(c.text);
        EXPECT_EQ(offset(g.str(), move(g.str())), c.expected) << '"' << c.text << '"';
    }
}

TEST(StrMove, WhiteSpaceIsExactlyTabLfCrSpace)
{
    for (int b = 1; b < 256; ++b) {
        const bool white = b == '\t' || b == '\n' || b == '\r' || b == ' ';
        const char text[] = {char(b), char(b), 'x', 'y', ' ', 'z', '\0'};
        const long first_word = white ? 2 : 0;
        EXPECT_EQ(offset(text, ozmu_str_move_to_validw(text)), first_word) << b;
        EXPECT_EQ(offset(text, ozmu_str_move_to_nextw(text)), first_word) << b;
        const char word[] = {'x', char(b), 'y', ' ', 'z', '\0'};
        EXPECT_EQ(offset(word, ozmu_str_move_to_eow(word)), white ? 0 : 2) << b;
    }
}

TEST(StrMove, ValidwSkipsLeadingWhiteSpace)
{
    EXPECT_EQ(ozmu_str_move_to_validw(nullptr), nullptr);
    expect_moves(ozmu_str_move_to_validw,
                 {{"", -1}, {"   ", -1}, {"\r\n", -1}, {" \t\r\nx", 4}, {"\v x", 0}, {"\f", 0},
                  {"x", 0}, {"  x  ", 2}});
}

TEST(StrMove, EowNeverExaminesTheLastByte)
{
    expect_moves(ozmu_str_move_to_eow,
                 {{"", -1},     {"a", 0},       {" ", 0},    {"ab cd", 1}, {"a b", 0},
                  {"ab  ", 1},  {"  ab\tc", 3}, {"abc", -1}, {"abc ", -1}, {" a ", -1},
                  {"   ", -1},  {"  a", 2},     {"\va b", 1}});
}

TEST(StrMove, NextwNeverReturnsTheLastByte)
{
    expect_moves(ozmu_str_move_to_nextw,
                 {{"", -1},   {"a", -1},    {" ", -1},     {"ab", 0},  {" a", -1},
                  {"  ab", 2}, {"\t\nab", 2}, {"   ", -1}, {"\v ", 0}});
}

TEST(StrMove, NextlPointsAtTheLastByteOfTheFirstLineEnd)
{
    expect_moves(ozmu_str_move_to_nextl,
                 {{"", -1},        {"\n", -1},      {"ab\r\ncd", 3}, {"ab\rcd", 2},
                  {"abc\n", -1},   {"ab\r\n", -1},  {"ab\r", -1},    {"\n\n", 0},
                  {"\r\r", 0},     {"\n\r\n", 0},   {"a\n\rb", 1},   {"ab\r\nc\n", 3},
                  {"abc", -1},     {"\r\n\r\n", 1}, {"a\r\n\n", 2}});
}

struct FieldCase {
    const char *text;
    int result, len;
    long next;  // offset, -1 for null
};

// Runs every case with garbage in the outputs first, and once more without `next`.
void expect_fields(const std::function<int(const char *, int *, const char **)> &parse,
                   std::initializer_list<FieldCase> cases)
{
    for (const FieldCase &c : cases) {
        GuardedText g(c.text);
        int len = -7;
        const char *next = "stale";
        const int result = parse(g.str(), &len, &next);
        EXPECT_EQ((std::vector<long>{result, len, offset(g.str(), next)}),
                  (std::vector<long>{c.result, c.len, c.next}))
            << '"' << c.text << '"';
    }
}

TEST(StrParse, CtokCutsAtTheTokenOrALineEnd)
{
    const auto ctok = [](char tok) {
        return [tok](const char *s, int *len, const char **next) {
            int len2 = -7;
            const int r = ozmu_str_parse_by_ctok(s, tok, &len2, nullptr);
            const int r1 = ozmu_str_parse_by_ctok(s, tok, len, next);
            EXPECT_EQ(r, r1);
            EXPECT_EQ(len2, *len);
            return r1;
        };
    };
    expect_fields(ctok('='), {{"key=val", 0, 3, 4},
                              {"key=", 0, 3, -1},
                              {"key", 0, 3, -1},
                              {"", -1, 0, -1},
                              {"=x", 0, 0, 1},
                              {"a\r\nb=c", 0, 1, 2},
                              {"a\nb", 0, 1, 2},
                              {"a b=c", 0, 3, 4}});
    expect_fields(ctok('\0'), {{"ab\ncd", 0, 2, 3}, {"abcd", 0, 4, -1}});
    expect_fields(ctok(char(0xE9)), {{"caf\xE9!", 0, 3, 4}});
}

TEST(StrParse, StokTestsTheSeparatorBeforeTheLineEnd)
{
    const auto stok = [](const char *tok) {
        return [tok](const char *s, int *len, const char **next) {
            return ozmu_str_parse_by_stok(s, tok, len, next);
        };
    };
    expect_fields(stok(": "), {{"a: b", 0, 1, 3},
                               {"a:b", -1, 0, -1},
                               {"", -1, 0, -1},
                               {"a:\r\nb", 0, 2, 3},
                               {"ab\nc: d", 0, 2, 3},
                               {"key: ", 0, 3, -1},
                               {": x", 0, 0, 2}});
    expect_fields(stok(":"), {{"ab", -1, 0, -1}, {"ab:", 0, 2, -1}});
    // A separator holding a line end wins over the line-end rule at the same offset.
    expect_fields(stok("\r\n"), {{"ab\r\ncd", 0, 2, 4}, {"ab\rcd", 0, 2, 3}});
    expect_fields(stok(""), {{"abc", 0, 0, 0}});
    expect_fields(stok("abc"), {{"ab", -1, 0, -1}, {"xabc", 0, 1, -1}});
    int len = -1;
    EXPECT_EQ(ozmu_str_parse_by_stok("a=b", "=", &len, nullptr), 0);
    EXPECT_EQ(len, 1);
}

TEST(StrParse, OneLineNeedsLfAfterCr)
{
    expect_fields(ozmu_str_parse_one_line, {{"GET /\r\nHost", 0, 5, 7},
                                            {"x\ry", -1, 0, -1},
                                            {"x\r", -1, 0, -1},
                                            {"abc", -1, 3, -1},
                                            {"", -1, 0, -1},
                                            {"abc\n", 0, 3, -1},
                                            {"abc\r\n", 0, 3, -1},
                                            {"\n", 0, 0, -1},
                                            {"\r\n\r\n", 0, 0, 2},
                                            {"a\nb\r", 0, 1, 2},
                                            {"a\r\r\n", -1, 0, -1}});
    EXPECT_EQ(ozmu_str_get_one_az09(), 0);
}

// Random lines joined by LF or CRLF, with or without a final line end, come back line by line;
// each "name: value" line splits at its first ": ".
TEST(StrParse, LinesAndFieldsComeBackApart)
{
    Rng rng(0x7E47);
    const char alphabet[] = "ab:= \t\v\f/%\x80\xFF";
    for (int round = 0; round < 3000; ++round) {
        std::vector<std::string> lines(size_t(rng.range(1, 6)));
        std::string text;
        for (std::string &line : lines) {
            for (int i = rng.range(0, 10); i > 0; --i)
                line += alphabet[rng.range(0, int(sizeof alphabet) - 2)];
            text += line;
            if (&line != &lines.back())
                text += rng.coin() ? "\r\n" : "\n";
        }
        const bool terminated = rng.coin() || lines.back().empty();
        if (terminated)
            text += rng.coin() ? "\r\n" : "\n";
        GuardedText g(text);
        const char *at = g.str();
        for (size_t i = 0; i < lines.size(); ++i) {
            int len;
            const char *next;
            const bool last = i + 1 == lines.size();
            ASSERT_EQ(ozmu_str_parse_one_line(at, &len, &next), last && !terminated ? -1 : 0)
                << text;
            ASSERT_EQ(std::string(at, size_t(len)), lines[i]);
            ASSERT_EQ(next == nullptr, last) << text;
            // The line's end is the last byte nextl may find, unless the text ends there.
            const char *nl = ozmu_str_move_to_nextl(at);
            EXPECT_EQ(nl, last ? nullptr : next - 1);

            int key_len;
            const char *value;
            const size_t colon = lines[i].find(": ");
            const int r = ozmu_str_parse_by_stok(at, ": ", &key_len, &value);
            if (colon != std::string::npos) {
                EXPECT_EQ(r, 0);
                EXPECT_EQ(size_t(key_len), colon);
                EXPECT_EQ(value ? value - at : -1,
                          colon + 2 < std::strlen(at) ? long(colon + 2) : -1L);
            } else {
                EXPECT_EQ(key_len, last && !terminated ? 0 : len);  // cut at the line end
            }
            if (!last)
                at = next;
        }
    }
}

}  // namespace
