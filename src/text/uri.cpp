// scheme://host[:port][/path] splitting for the first line of a request or a header block, and
// the two escaping conversions. Outputs are caller buffers without sizes: no output is longer
// than the input (see the header for the exact needs).
#include <cstdint>
#include <cstring>

#include "ozmu.h"
#include "text/text.h"

namespace ozmu::text {
namespace {

void copy_text(char *dst, const char *src, int n)
{
    std::memcpy(dst, src, static_cast<size_t>(n));
    dst[n] = '\0';
}

// Paths always start with '/', whether or not the text had one.
void copy_path(char *path, const char *text, int n)
{
    if (*text != '/')
        *path++ = '/';
    copy_text(path, text, n);
}

// Offset of the first `sep`, CR or LF in str (of length n), or n.
int find_field_end(const char *str, int n, char sep)
{
    for (int k = 0; k < n; ++k)
        if (str[k] == sep || is_line_end(str[k]))
            return k;
    return n;
}

// The path is what remains of the URI's line; the next line, if any, is the caller's rest.
int parse_path(const char *text, char *path, const char **rest)
{
    int len;
    const char *next;
    parse_one_line(text, &len, &next);  // a lone CR leaves no path; no line end, the whole text
    if (rest)
        *rest = next;
    if (len > 0)
        copy_path(path, text, len);
    return 0;
}

// What atoi makes of a one-character string: a decimal digit's value, else 0.
int digit_value(char c) { return c >= '0' && c <= '9' ? c - '0' : 0; }

}  // namespace

int parse_uri(const char *uri, char *scheme, char *host, char *port, char *path, const char **rest)
{
    scheme[0] = host[0] = port[0] = path[0] = '\0';
    if (rest)
        *rest = nullptr;
    if (!uri)
        return -1;
    const char *start = move_to_validw(uri);
    if (!start)
        return -1;
    int scheme_len;
    const char *authority;  // after "://", or after a line end that came first
    if (parse_by_stok(start, "://", &scheme_len, &authority) != 0)
        return -1;
    copy_text(scheme, start, scheme_len);
    if (!authority)
        return -1;

    const int n = length(authority);
    const int colon = find_field_end(authority, n, ':');
    if (int64_t{colon} + 1 < n) {
        copy_text(host, authority, colon);
        const char *port_text = authority + colon + 1;
        const int port_n = n - colon - 1;
        const int port_len = find_field_end(port_text, port_n, '/');
        if (port_len == 0)
            return -1;
        copy_text(port, port_text, port_len);
        if (int64_t{port_len} + 1 >= port_n)  // no separator, or nothing after it
            return 0;
        return parse_path(port_text + port_len + 1, path, rest);
    }

    // No port: a colon that ends the authority stays in the host.
    const int host_len = find_field_end(authority, n, '/');
    if (host_len == n) {
        copy_text(host, authority, n);
        return 0;
    }
    if (host_len == 0) {  // "file:///x": all of it is the path, line ends included
        copy_path(path, authority, n);
        return 0;
    }
    copy_text(host, authority, host_len);
    if (int64_t{host_len} + 1 >= n)
        return 0;
    return parse_path(authority + host_len + 1, path, rest);
}

int conv_a2uri(const char *src, char *dst)
{
    size_t out = 0;
    for (; *src; ++src) {
        if (*src == ' ') {
            dst[out++] = '%';
            dst[out++] = '2';
            dst[out++] = '0';
        } else {
            dst[out++] = *src;
        }
    }
    dst[out] = '\0';
    return static_cast<int>(out);
}

int conv_uri2a(const char *src, char *dst)
{
    const size_t n = std::strlen(src);
    size_t out = 0;
    for (size_t k = 0; k < n;) {
        if (src[k] == '%') {
            // Both bytes are read even at the end of the text: a final '%' reads its NUL and the
            // byte after it.
            dst[out++] = static_cast<char>(16 * digit_value(src[k + 1]) + digit_value(src[k + 2]));
            k += 3;
        } else {
            dst[out++] = src[k++];
        }
    }
    dst[out] = '\0';
    return static_cast<int>(out);
}

}  // namespace ozmu::text

extern "C" {

int ozmu_str_parse_uri(const char *uri, char *scheme, char *host, char *port, char *path,
                       const char **rest)
{
    return ozmu::text::parse_uri(uri, scheme, host, port, path, rest);
}

int ozmu_str_conv_a2uri(const char *src, char *dst) { return ozmu::text::conv_a2uri(src, dst); }
int ozmu_str_conv_uri2a(const char *src, char *dst) { return ozmu::text::conv_uri2a(src, dst); }

}  // extern "C"
