// Character classes and scanners shared by the string helpers and the URI parser. Text is a
// NUL-terminated byte string; every scanner measures it first and keeps its length in 32 bits, as
// the interface reports lengths.
#pragma once

#include <cstring>

namespace ozmu::text {

// Exactly these four: vertical tab and form feed are not white space in the protocols served.
constexpr bool is_white(char c) { return c == '\t' || c == '\n' || c == '\r' || c == ' '; }
constexpr bool is_line_end(char c) { return c == '\n' || c == '\r'; }

inline int length(const char *s) { return static_cast<int>(std::strlen(s)); }

const char *move_to_validw(const char *str);
const char *move_to_eow(const char *str);
const char *move_to_nextw(const char *str);
const char *move_to_nextl(const char *str);
int parse_by_ctok(const char *str, char tok, int *len, const char **next);
int parse_by_stok(const char *str, const char *tok, int *len, const char **next);
int parse_one_line(const char *str, int *len, const char **next);

int parse_uri(const char *uri, char *scheme, char *host, char *port, char *path, const char **rest);
int conv_a2uri(const char *src, char *dst);
int conv_uri2a(const char *src, char *dst);

}  // namespace ozmu::text
