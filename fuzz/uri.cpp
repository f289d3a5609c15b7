// URI splitting and both escaping conversions on arbitrary text (it ends at its first NUL). The
// outputs get exactly the documented sizes in their own heap blocks, so ASan sees any write past
// them; the text is followed by its NUL and one readable byte, as unescaping requires.
#include <cstdint>
#include <cstring>
#include <memory>

#include "fuzz_input.h"
#include "ozmu.h"

namespace {

using ozmu::fuzz::check;

void split(const char *uri, size_t n)
{
    std::unique_ptr<char[]> out[4];
    for (auto &o : out)
        o.reset(new char[n + 1]);
    const char *rest = uri;
    const int r =
        ozmu_str_parse_uri(uri, out[0].get(), out[1].get(), out[2].get(), out[3].get(), &rest);
    check(r == 0 || r == -1);
    for (auto &o : out)
        check(std::strlen(o.get()) + 1 <= (n ? n : 1));
    check(out[3][0] == '\0' || out[3][0] == '/');
    check(!rest || (r == 0 && rest > uri && rest < uri + n));
}

void escape(const char *text, size_t n)
{
    size_t spaces = 0;
    bool has_percent = false;
    for (size_t i = 0; i < n; ++i)
        spaces += text[i] == ' ', has_percent |= text[i] == '%';

    std::unique_ptr<char[]> escaped(new char[3 * n + 1]);
    const int e = ozmu_str_conv_a2uri(text, escaped.get());
    check(size_t(e) == n + 2 * spaces && escaped[size_t(e)] == '\0');
    check(!std::memchr(escaped.get(), ' ', size_t(e)));

    std::unique_ptr<char[]> plain(new char[n + 1]);
    const int u = ozmu_str_conv_uri2a(text, plain.get());
    check(u >= 0 && size_t(u) <= n && plain[size_t(u)] == '\0');
    check(has_percent || (size_t(u) == n && std::memcmp(plain.get(), text, n) == 0));

    // Escaped text without a '%' of its own never ends in '%', so it needs no readable byte after
    // its NUL; it decodes back to the text.
    if (!has_percent) {
        std::unique_ptr<char[]> back(new char[size_t(e) + 1]);
        const int b = ozmu_str_conv_uri2a(escaped.get(), back.get());
        check(size_t(b) == n && std::memcmp(back.get(), text, n + 1) == 0);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // The text, its NUL, and the one byte a final '%' reads after it.
    std::unique_ptr<char[]> text(new char[size + 2]);
    if (size)
        std::memcpy(text.get(), data, size);
    text[size] = '\0';
    text[size + 1] = size ? char(data[0]) : '0';
    const size_t n = std::strlen(text.get());
    split(text.get(), n);
    escape(text.get(), n);
    return 0;
}
