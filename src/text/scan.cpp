// String scanners and tokenisers for text protocols. Nothing is copied or modified: results are
// pointers into the caller's string and lengths. The end-of-string rules (the last byte that some
// scanners never return, the CR that must be followed by LF in a line) are part of the interface.
#include <cstdint>
#include <cstring>

#include "ozmu.h"
#include "text/text.h"

namespace ozmu::text {
namespace {

// First non-white byte among str[0 .. limit), or null.
const char *skip_white(const char *str, int limit)
{
    for (int k = 0; k < limit; ++k)
        if (!is_white(str[k]))
            return str + k;
    return nullptr;
}

// Field [0, k) ends at str[k], a one-byte separator; what follows starts after it, if anything.
int end_field(const char *str, int n, int k, int *len, const char **next)
{
    *len = k;
    if (next && k + 1 < n)
        *next = str + k + 1;
    return 0;
}

}  // namespace

const char *move_to_validw(const char *str)
{
    if (!str)
        return nullptr;
    return skip_white(str, length(str));
}

const char *move_to_eow(const char *str)
{
    const int n = length(str);
    if (n == 0)
        return nullptr;
    if (n == 1)
        return str;
    const char *word = str;
    if (is_white(*word)) {
        word = skip_white(str, n);
        if (!word)
            return nullptr;
    }
    const int m = n - static_cast<int>(word - str);
    if (m == 1)
        return word;
    // The word's last byte is never examined, so a word ending the string, or followed only by
    // one white byte at its very end, has no end here.
    for (int k = 1; k + 2 <= m; ++k)
        if (is_white(word[k]))
            return word + k - 1;
    return nullptr;
}

const char *move_to_nextw(const char *str)
{
    const int n = length(str);
    if (n < 2)
        return nullptr;
    return skip_white(str, n - 1);
}

const char *move_to_nextl(const char *str)
{
    const int n = length(str);
    for (int k = 0; k + 1 < n; ++k) {
        const char *end = nullptr;
        if (str[k] == '\n')
            end = str + k;
        else if (str[k] == '\r')
            end = str[k + 1] == '\n' ? str + k + 1 : str + k;
        if (end)  // a line end closing the string leaves no next line
            return end == str + n - 1 ? nullptr : end;
    }
    return nullptr;
}

int parse_by_ctok(const char *str, char tok, int *len, const char **next)
{
    *len = 0;
    if (next)
        *next = nullptr;
    const int n = length(str);
    if (n == 0)
        return -1;
    for (int k = 0; k < n; ++k)
        if (str[k] == tok || is_line_end(str[k]))
            return end_field(str, n, k, len, next);
    *len = n;
    return 0;
}

int parse_by_stok(const char *str, const char *tok, int *len, const char **next)
{
    *len = 0;
    if (next)
        *next = nullptr;
    const int n = length(str);
    if (n == 0)
        return -1;
    const size_t m = std::strlen(tok);
    for (int k = 0; k < n; ++k) {
        // An empty separator matches at once.
        if ((m == 0 || str[k] == tok[0]) && std::strncmp(str + k, tok, m) == 0) {
            *len = k;
            if (next && int64_t{k} + static_cast<int>(m) < n)
                *next = str + k + m;
            return 0;
        }
        if (is_line_end(str[k]))
            return end_field(str, n, k, len, next);
    }
    return -1;
}

int parse_one_line(const char *str, int *len, const char **next)
{
    *len = 0;
    *next = nullptr;
    const int n = length(str);
    if (n == 0)
        return -1;
    for (int k = 0; k < n; ++k) {
        if (str[k] == '\r') {
            if (str[k + 1] != '\n')
                return -1;  // a lone CR is malformed
            *len = k;
            if (k + 2 < n)
                *next = str + k + 2;
            return 0;
        }
        if (str[k] == '\n')
            return end_field(str, n, k, len, next);
    }
    *len = n;  // an unterminated line is an error that still reports its length
    return -1;
}

}  // namespace ozmu::text

extern "C" {

const char *ozmu_str_move_to_validw(const char *str) { return ozmu::text::move_to_validw(str); }
const char *ozmu_str_move_to_eow(const char *str) { return ozmu::text::move_to_eow(str); }
const char *ozmu_str_move_to_nextw(const char *str) { return ozmu::text::move_to_nextw(str); }
const char *ozmu_str_move_to_nextl(const char *str) { return ozmu::text::move_to_nextl(str); }

int ozmu_str_parse_by_ctok(const char *str, char tok, int *len, const char **next)
{
    return ozmu::text::parse_by_ctok(str, tok, len, next);
}

int ozmu_str_parse_by_stok(const char *str, const char *tok, int *len, const char **next)
{
    return ozmu::text::parse_by_stok(str, tok, len, next);
}

int ozmu_str_parse_one_line(const char *str, int *len, const char **next)
{
    return ozmu::text::parse_one_line(str, len, next);
}

int ozmu_str_get_one_az09(void) { return 0; }

}  // extern "C"
