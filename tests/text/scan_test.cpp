// String scanners and tokenisers: the character classes byte by byte, and each end-of-string rule
// and kept quirk once in a table. Every text sits flush against an inaccessible page, so a read
// past its NUL faults. (fuzz/str.cpp checks the result invariants on arbitrary input.)
#include <vector>

#include "text_test.h"

namespace {

using namespace ozmu::test;

TEST(StrScan, WhiteSpaceAndLineEndsAreExactlyTheirBytes)
{
    for (int b = 1; b < 256; ++b) {
        const bool white = b == '\t' || b == '\n' || b == '\r' || b == ' ';
        const char text[] = {char(b), char(b), 'x', 'y', ' ', 'z', '\0'};
        EXPECT_EQ(offset(text, ozmu_str_move_to_validw(text)), white ? 2 : 0) << b;
        EXPECT_EQ(offset(text, ozmu_str_move_to_nextw(text)), white ? 2 : 0) << b;
        const char word[] = {'x', char(b), 'y', ' ', 'z', '\0'};
        EXPECT_EQ(offset(word, ozmu_str_move_to_eow(word)), white ? 0 : 2) << b;
        int len;
        ozmu_str_parse_by_ctok(word, '=', &len, nullptr);
        EXPECT_EQ(len, b == '\n' || b == '\r' || b == '=' ? 1 : 5) << b;
    }
}

TEST(StrScan, MovesObeyTheirEndOfStringRules)
{
    const auto validw = ozmu_str_move_to_validw, eow = ozmu_str_move_to_eow,
               nextw = ozmu_str_move_to_nextw, nextl = ozmu_str_move_to_nextl;
    const struct {
        const char *(*move)(const char *);
        const char *text;
        long expected;  // offset of the result, -1 for null
    } cases[] = {
        {validw, "", -1},
        {validw, "   ", -1},
        {validw, " \t\r\nx", 4},
        // eow never examines the last byte; a one-byte string is its own end, even a space.
        {eow, "", -1},
        {eow, "   ", -1},
        {eow, "ab cd", 1},
        {eow, "  ab\tc", 3},
        {eow, "abc", -1},
        {eow, "abc ", -1},
        {eow, "a", 0},
        {eow, " ", 0},
        // nextw never returns the last byte.
        {nextw, "a", -1},
        {nextw, " a", -1},
        {nextw, "  ab", 2},
        // nextl: the last byte of the first line end, unless that ends the string.
        {nextl, "", -1},
        {nextl, "abc", -1},
        {nextl, "ab\r\ncd", 3},
        {nextl, "ab\rcd", 2},
        {nextl, "\n\n", 0},
        {nextl, "abc\n", -1},
        {nextl, "ab\r\n", -1},
        {nextl, "ab\r", -1},
    };
    EXPECT_EQ(validw(nullptr), nullptr);
    for (const auto &c : cases) {
        GuardedText g(c.text);
        EXPECT_EQ(offset(g.str(), c.move(g.str())), c.expected) << &c - cases << " \"" << c.text;
    }
}

TEST(StrScan, FieldsAndLines)
{
    enum Parser { Ctok, Stok, Line };
    const struct {
        Parser parser;
        const char *sep;  // ctok takes its first byte
        const char *text;
        int result, len;
        long next;  // offset, -1 for null
    } cases[] = {
        {Ctok, "=", "key=val", 0, 3, 4},
        {Ctok, "=", "key=", 0, 3, -1},
        {Ctok, "=", "key", 0, 3, -1},
        {Ctok, "=", "", -1, 0, -1},
        {Ctok, "=", "a\r\nb=c", 0, 1, 2},
        // stok: no separator and no line end is an error with length 0; the separator is tested
        // before the line end, and an empty one matches at once.
        {Stok, ": ", "a: b", 0, 1, 3},
        {Stok, ": ", "a:b", -1, 0, -1},
        {Stok, ": ", "key: ", 0, 3, -1},
        {Stok, ": ", "ab\nc: d", 0, 2, 3},
        {Stok, "\r\n", "ab\r\ncd", 0, 2, 4},
        {Stok, "", "abc", 0, 0, 0},
        // A line's CR needs an LF; an unterminated line is an error that reports its length.
        {Line, "", "GET /\r\nHost", 0, 5, 7},
        {Line, "", "abc\r\n", 0, 3, -1},
        {Line, "", "a\nb\r", 0, 1, 2},
        {Line, "", "x\ry", -1, 0, -1},
        {Line, "", "abc", -1, 3, -1},
        {Line, "", "", -1, 0, -1},
    };
    for (const auto &c : cases) {
        GuardedText g(c.text);
        // Garbage in the outputs first; the tokenisers run once more without `next`.
        for (const bool with_next : {true, false}) {
            if (!with_next && c.parser == Line)
                continue;
            int len = -7;
            const char *next = "stale";
            const char **out = with_next ? &next : nullptr;
            const char *s = g.str();
            const int result = c.parser == Ctok   ? ozmu_str_parse_by_ctok(s, *c.sep, &len, out)
                               : c.parser == Stok ? ozmu_str_parse_by_stok(s, c.sep, &len, out)
                                                  : ozmu_str_parse_one_line(s, &len, out);
            EXPECT_EQ((std::vector<long>{result, len, with_next ? offset(s, next) : c.next}),
                      (std::vector<long>{c.result, c.len, c.next}))
                << &c - cases << " \"" << c.text;
        }
    }
    EXPECT_EQ(ozmu_str_get_one_az09(), 0);
}

}  // namespace
