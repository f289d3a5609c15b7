// Text test helpers: strings placed flush against an inaccessible page, so that a scanner reading
// one byte past what its contract allows faults at once, and output buffers with canaries.
#pragma once

#include <string>

#include "checkasm.h"
#include "ozmu.h"

namespace ozmu::test {

// The bytes of `text` and its NUL, then `readable_after` more bytes (value `pad`), then the page.
class GuardedText {
public:
    explicit GuardedText(const std::string &text, size_t readable_after = 0, char pad = 'x')
        : buf_(text.size() + 1 + readable_after)
    {
        char *p = str();
        std::memcpy(p, text.c_str(), text.size() + 1);
        std::memset(p + text.size() + 1, pad, readable_after);
    }
    char *str() { return reinterpret_cast<char *>(buf_.data()); }

private:
    PageGuardedBuffer buf_;
};

// Offset of a scanner's result in its string, -1 for null.
inline long offset(const char *base, const char *p) { return p ? long(p - base) : -1; }

// An output buffer of `size` bytes followed by canaries that no call may touch.
class CanaryBuffer {
public:
    static constexpr char kCanary = char(0xA5);
    static constexpr size_t kMargin = 16;
    explicit CanaryBuffer(size_t size) : bytes_(size + kMargin, kCanary), size_(size) {}
    char *data() { return bytes_.data(); }
    bool margin_intact() const
    {
        return bytes_.find_first_not_of(kCanary, size_) == std::string::npos;
    }
    std::string text() const { return std::string(bytes_.c_str()); }

private:
    std::string bytes_;
    size_t size_;
};

}  // namespace ozmu::test
