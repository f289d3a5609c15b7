// Text test helpers: strings flush against an inaccessible page, so that a scanner reading past
// what its contract allows faults at once, and output buffers followed by canaries.
#pragma once

#include <string>

#include "checkasm.h"
#include "ozmu.h"

namespace ozmu::test {

// The bytes of `text` and its NUL, then `readable_after` bytes of `pad`, then the page.
class GuardedText {
public:
    explicit GuardedText(const std::string &text, size_t readable_after = 0, char pad = 'x')
        : buf_(text.size() + 1 + readable_after)
    {
        std::memcpy(str(), text.c_str(), text.size() + 1);
        std::memset(str() + text.size() + 1, pad, readable_after);
    }
    char *str() { return reinterpret_cast<char *>(buf_.data()); }

private:
    PageGuardedBuffer buf_;
};

// Offset of a scanner's result in its string, -1 for null.
inline long offset(const char *base, const char *p) { return p ? long(p - base) : -1; }

// `size` bytes of garbage (no terminator: only the call can give one), then canaries.
class CanaryBuffer {
public:
    explicit CanaryBuffer(size_t size) : bytes_(size, 'Z'), size_(size)
    {
        bytes_.append(16, kCanary);
    }
    char *data() { return bytes_.data(); }
    bool margin_intact() const
    {
        return bytes_.find_first_not_of(kCanary, size_) == std::string::npos;
    }
    std::string text() const { return std::string(bytes_.c_str()); }

private:
    static constexpr char kCanary = char(0xA5);
    std::string bytes_;
    size_t size_;
};

}  // namespace ozmu::test
