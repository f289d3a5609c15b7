// String scanners and tokenisers on arbitrary text. Input: byte 0 is the character separator,
// byte 1 (mod 4) the length of the string separator that follows it, the rest is the text (it
// ends at its first NUL). Every result must lie inside the text and follow its documented shape;
// the text sits in an exact heap block so that ASan sees any read past its NUL.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>

#include "fuzz_input.h"
#include "ozmu.h"

namespace {

using ozmu::fuzz::check;

bool white(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }
bool line_end(char c) { return c == '\r' || c == '\n'; }

// A field result: len within the text, next just after a separator of `sep_lens` bytes or null.
void check_field(const char *s, long n, int len, const char *next, long sep_a, long sep_b)
{
    check(len >= 0 && len <= n);
    check(!next || next == s + len + sep_a || next == s + len + sep_b);
    check(!next || next < s + n);
}

void scan(const char *s, char tok, const char *sep)
{
    const long n = long(std::strlen(s));
    const long m = long(std::strlen(sep));

    const char *p = ozmu_str_move_to_validw(s);
    check(!p || (p >= s && p < s + n && !white(*p)));
    for (const char *q = s; q < (p ? p : s + n); ++q)
        check(white(*q));
    const char *w = ozmu_str_move_to_nextw(s);
    check(!w || (w == p && w < s + n - 1));
    const char *e = ozmu_str_move_to_eow(s);
    check(!e || (e >= s && e < s + n));
    const char *l = ozmu_str_move_to_nextl(s);
    check(!l || (l >= s && l < s + n - 1 && line_end(*l)));

    int len = -1;
    const char *next = nullptr;
    int r = ozmu_str_parse_by_ctok(s, tok, &len, &next);
    check(r == (n ? 0 : -1));
    check_field(s, n, len, next, 1, 1);
    r = ozmu_str_parse_by_ctok(s, tok, &len, nullptr);
    check(r == (n ? 0 : -1));
    r = ozmu_str_parse_by_stok(s, sep, &len, &next);
    check(r == 0 || (r == -1 && len == 0 && !next));
    check_field(s, n, len, next, 1, m);

    // Walk the text line by line, and every line field by field: each step moves forward.
    for (const char *line = s; line;) {
        const char *line_next;
        r = ozmu_str_parse_one_line(line, &len, &line_next);
        check(r == 0 || r == -1);
        check_field(line, long(std::strlen(line)), len, line_next, 1, 2);
        // Fields end at line ends too: stop at the first one past this line.
        const char *line_end_at = line + len;
        for (const char *field = line; field && field <= line_end_at;) {
            int field_len;
            const char *field_next;
            if (ozmu_str_parse_by_stok(field, sep, &field_len, &field_next) != 0)
                break;
            check(!field_next || field_next > field || (m == 0 && field_next == field));
            field = field_next && field_next > field ? field_next : nullptr;
        }
        line = line_next;
    }
    check(ozmu_str_move_to_validw(nullptr) == nullptr && ozmu_str_get_one_az09() == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 2)
        return 0;
    const char tok = char(data[0]);
    const size_t sep_len = std::min<size_t>(data[1] % 4, size - 2);
    const size_t text_len = size - 2 - sep_len;
    std::unique_ptr<char[]> sep(new char[sep_len + 1]), text(new char[text_len + 1]);
    std::memcpy(sep.get(), data + 2, sep_len);
    sep[sep_len] = '\0';
    std::memcpy(text.get(), data + 2 + sep_len, text_len);
    text[text_len] = '\0';
    scan(text.get(), tok, sep.get());
    return 0;
}
