// Ring buffer: the documented numbers and line rules on small cases; random operation sequences
// against a model of the indices and storage written step by step from the rules, compared after
// every operation; and byte-order checks under ordinary use (copying and zero-copy, CR LF lines)
// against a plain queue.
#include <algorithm>
#include <climits>
#include <deque>
#include <string>
#include <vector>

#include "checkasm.h"
#include "ozmu.h"
#include "container_test.h"

namespace {

using namespace ozmu::test;
using Bytes = std::vector<uint8_t>;

Bytes bytes_of(const std::string &s) { return Bytes(s.begin(), s.end()); }

int put(ozmu_rbuf *rb, const std::string &s)
{
    const Bytes b = bytes_of(s);  // exact heap block: ASan sees over-reads
    return ozmu_rbuf_put(rb, b.data(), static_cast<int>(b.size()));
}

std::string get(ozmu_rbuf *rb, int n)
{
    Bytes out(static_cast<size_t>(n) + 1);
    const int k = ozmu_rbuf_get(rb, out.data(), n);
    return std::string(out.begin(), out.begin() + std::max(k, 0));
}

// The documented destination size for a line: max(cap, size) + 2, as an exact heap block filled
// with a marker so unwritten bytes show.
struct LineOut {
    std::string text;  // dst up to and including the returned length's zero
    int length;
    Bytes dst;
};
LineOut line(ozmu_rbuf *rb, int cap)
{
    Bytes dst(static_cast<size_t>(std::max(cap, rb->size)) + 2, '#');
    const int n = ozmu_rbuf_get_one_line(rb, reinterpret_cast<char *>(dst.data()), cap);
    return {n > 0 ? std::string(dst.begin(), dst.begin() + n + 1) : std::string(), n, dst};
}

std::pair<int, int> indices(const ozmu_rbuf *rb) { return {rb->write_index, rb->read_index}; }

// A buffer of `size` whose read and write indices both sit at `at`.
ozmu_rbuf *buffer_at(int size, int at)
{
    ozmu_rbuf *rb = ozmu_rbuf_create(size);
    put(rb, std::string(static_cast<size_t>(at), 'x'));
    get(rb, at);
    return rb;
}

TEST(Rbuf, CapacityAndTotals)
{
    ozmu_rbuf *rb = ozmu_rbuf_create(8);
    EXPECT_EQ(ozmu_rbuf_get_tot_len(rb), 7);
    EXPECT_EQ(ozmu_rbuf_get_free_len(rb), 9);  // two more than the truth
    EXPECT_EQ(ozmu_rbuf_get_freec_len(rb), 7);
    EXPECT_EQ(ozmu_rbuf_get_fill_len(rb), 0);
    EXPECT_EQ(put(rb, "abcdefg"), 7);
    EXPECT_EQ(ozmu_rbuf_is_full(rb), 1);
    EXPECT_EQ(put(rb, ""), 0);
    uint8_t *p = rb->storage;
    int len = 5;
    EXPECT_EQ(ozmu_rbuf_get_head(rb, &p, &len), 0);
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(len, 0);
    EXPECT_EQ(get(rb, 3), "abc");
    EXPECT_EQ(put(rb, "hi"), 2);  // wraps: write index 1
    EXPECT_EQ(indices(rb), std::make_pair(1, 3));
    EXPECT_EQ(ozmu_rbuf_get_fill_len(rb), 5);  // one less than the truth
    EXPECT_EQ(ozmu_rbuf_get_fillc_len(rb), 5);
    EXPECT_EQ(ozmu_rbuf_get_free_len(rb), 1);
    EXPECT_EQ(get(rb, 100), "defghi");
    ozmu_rbuf_delete(rb);

    // Put 8 into an empty 8: accepted, the write index stays at 8, neither full nor empty.
    rb = ozmu_rbuf_create(8);
    EXPECT_EQ(put(rb, "123456789"), 0);
    EXPECT_EQ(put(rb, "12345678"), 8);
    EXPECT_EQ(indices(rb), std::make_pair(8, 0));
    EXPECT_EQ(ozmu_rbuf_is_full(rb) + ozmu_rbuf_is_empty(rb), 0);
    EXPECT_EQ(ozmu_rbuf_get_freec_len(rb), -1);
    EXPECT_EQ(ozmu_rbuf_get_head(rb, &p, &len), 0);
    EXPECT_EQ(p - rb->storage, 8);
    EXPECT_EQ(len, -1);
    // A commit there is reported, not made.
    EXPECT_EQ(ozmu_rbuf_skip_head(rb, 1), -1);
    EXPECT_EQ(indices(rb), std::make_pair(8, 0));
    EXPECT_EQ(get(rb, 8), "12345678");
    ozmu_rbuf_delete(rb);

    // Read index 0, write index 5: a put of exactly the room left ends at 8.
    rb = ozmu_rbuf_create(8);
    put(rb, "abcde");
    EXPECT_EQ(put(rb, "fgh"), 3);
    EXPECT_EQ(indices(rb), std::make_pair(8, 0));
    ozmu_rbuf_delete(rb);

    rb = ozmu_rbuf_create(1);  // no capacity: empty and full at once
    EXPECT_EQ(ozmu_rbuf_is_empty(rb) + ozmu_rbuf_is_full(rb), 2);
    EXPECT_EQ(put(rb, "a"), 0);
    ozmu_rbuf_delete(rb);
    for (int size : {0, -1, INT_MIN, INT_MAX})
        EXPECT_EQ(ozmu_rbuf_create(size), nullptr) << size;
    ozmu_rbuf_delete(nullptr);
}

// Everything read after a put that filled the whole storage leaves both indices at size. A put or
// commit of 0 bytes there moves the write index to 0: the buffer holds nothing, yet is not empty
// and reports a fill of -1, until the next read moves the read index to 0.
TEST(Rbuf, BothIndicesAtSize)
{
    for (int zero_op = 0; zero_op < 2; ++zero_op) {
        ozmu_rbuf *rb = ozmu_rbuf_create(8);
        put(rb, "12345678");
        EXPECT_EQ(get(rb, 8), "12345678");
        EXPECT_EQ(indices(rb), std::make_pair(8, 8));
        EXPECT_EQ(zero_op ? ozmu_rbuf_skip_head(rb, 0) : put(rb, ""), 0);
        EXPECT_EQ(indices(rb), std::make_pair(0, 8));
        EXPECT_EQ(ozmu_rbuf_is_empty(rb), 0);
        EXPECT_EQ(ozmu_rbuf_get_fill_len(rb), -1);
        EXPECT_EQ(ozmu_rbuf_get_fillc_len(rb), 0);
        EXPECT_EQ(get(rb, 8), "");
        EXPECT_EQ(indices(rb), std::make_pair(0, 0));
        ozmu_rbuf_delete(rb);
    }
}

TEST(Rbuf, WrappingPutsGetsAndSkips)
{
    ozmu_rbuf *rb = buffer_at(8, 6);
    // A refused wrapping put leaves its first part written but not committed.
    EXPECT_EQ(put(rb, "ABCDEFGH"), 0);
    EXPECT_EQ(indices(rb), std::make_pair(6, 6));
    EXPECT_EQ(rb->storage[6], 'A');
    EXPECT_EQ(rb->storage[7], 'B');
    EXPECT_EQ(put(rb, "abcdefg"), 7);
    EXPECT_EQ(indices(rb), std::make_pair(5, 6));
    EXPECT_EQ(ozmu_rbuf_is_full(rb), 1);
    uint8_t *p;
    int len;
    ozmu_rbuf_get_tail(rb, &p, &len);
    EXPECT_EQ(std::string(p, p + len), "ab");
    EXPECT_EQ(ozmu_rbuf_skip_tail(rb, 3), 3);  // across the wrap
    EXPECT_EQ(get(rb, 2), "de");
    EXPECT_EQ(ozmu_rbuf_skip_tail(rb, 9), 2);
    EXPECT_EQ(ozmu_rbuf_skip_tail(rb, 1), 0);

    // Zero-copy writes across the end: the head region runs to the end, the commit wraps.
    ozmu_rbuf_get_head(rb, &p, &len);
    EXPECT_EQ(p - rb->storage, 5);
    EXPECT_EQ(len, 3);
    std::memcpy(p, "xyz", 3);
    EXPECT_EQ(ozmu_rbuf_skip_head(rb, 3), 3);
    EXPECT_EQ(indices(rb), std::make_pair(0, 5));
    EXPECT_EQ(ozmu_rbuf_skip_head(rb, 9), 4);  // up to one short of the read index
    EXPECT_EQ(ozmu_rbuf_skip_head(rb, 1), 0);
    EXPECT_EQ(ozmu_rbuf_get_fill_len(rb), 6);  // holds 7
    EXPECT_EQ(get(rb, 3), "xyz");
    // Negative lengths move nothing.
    EXPECT_EQ(ozmu_rbuf_get(rb, nullptr, -1), 0);
    EXPECT_EQ(ozmu_rbuf_skip_tail(rb, -5), 0);
    EXPECT_EQ(ozmu_rbuf_skip_head(rb, -5), 0);
    EXPECT_EQ(ozmu_rbuf_put(rb, nullptr, -1), 0);
    EXPECT_EQ(indices(rb), std::make_pair(4, 0));
    ozmu_rbuf_empty(rb);
    EXPECT_EQ(ozmu_rbuf_is_empty(rb), 1);
    ozmu_rbuf_delete(rb);
}

TEST(Rbuf, LinesEndInCrLf)
{
    ozmu_rbuf *rb = ozmu_rbuf_create(16);
    put(rb, "ab\ncd");  // the inserted CR costs the next line its first byte
    LineOut out = line(rb, 16);
    EXPECT_EQ(out.length, 4);
    EXPECT_EQ(out.text, std::string("ab\r\n\0", 5));
    EXPECT_EQ(get(rb, 16), "d");

    put(rb, "ab\r\ncd");
    out = line(rb, 16);
    EXPECT_EQ(out.text, std::string("ab\r\n\0", 5));
    EXPECT_EQ(get(rb, 16), "cd");

    put(rb, "\nabc");  // an empty line gets its CR too
    EXPECT_EQ(line(rb, 16).text, std::string("\r\n\0", 3));
    EXPECT_EQ(line(rb, 16).length, 0);  // "bc": no line yet, nothing consumed
    EXPECT_EQ(get(rb, 16), "bc");
    ozmu_rbuf_delete(rb);

    rb = ozmu_rbuf_create(16);
    put(rb, std::string("x\0y\n", 4));
    EXPECT_EQ(line(rb, 16).length, 0);  // a zero byte first
    EXPECT_EQ(get(rb, 16), std::string("x\0y\n", 4));
    ozmu_rbuf_delete(rb);

    // cap bounds the scan to cap - 1 bytes; the result may then reach dst[cap].
    rb = ozmu_rbuf_create(16);
    put(rb, "abcdef\n");
    EXPECT_EQ(line(rb, 7).length, 0);
    out = line(rb, 8);
    EXPECT_EQ(out.text, std::string("abcdef\r\n\0", 9));
    // The last line without CR and nothing after it: the read index passes the write index and
    // the buffer holds size - 1 stale bytes until emptied.
    EXPECT_EQ(indices(rb), std::make_pair(rb->write_index, rb->write_index + 1));
    EXPECT_EQ(ozmu_rbuf_is_full(rb), 1);
    ozmu_rbuf_empty(rb);
    EXPECT_EQ(ozmu_rbuf_is_empty(rb), 1);
    ozmu_rbuf_delete(rb);
}

TEST(Rbuf, LinesAcrossTheWrap)
{
    // Line feed in the second segment, no CR: inserted, and the next byte lost.
    ozmu_rbuf *rb = buffer_at(8, 6);
    put(rb, "ab\ncd");
    LineOut out = line(rb, 64);
    EXPECT_EQ(out.text, std::string("ab\r\n\0", 5));
    EXPECT_EQ(get(rb, 8), "d");
    ozmu_rbuf_delete(rb);

    // A CR LF split by the wrap: length to_end + 2, the byte before the zero left unwritten,
    // and only the LF consumed from the start of storage.
    rb = buffer_at(8, 6);
    put(rb, "a\r\nb");
    out = line(rb, 64);
    EXPECT_EQ(out.length, 4);
    EXPECT_EQ(out.text, std::string("a\r\n#\0", 5));
    EXPECT_EQ(get(rb, 8), "b");
    ozmu_rbuf_delete(rb);

    // A line feed in the first segment; the first segment ignores cap (dst holds size + 2).
    // The inserted CR's extra byte is the one after the wrap.
    rb = buffer_at(8, 3);
    EXPECT_EQ(put(rb, "abcd\nxy"), 7);
    out = line(rb, 2);
    EXPECT_EQ(out.text, std::string("abcd\r\n\0", 7));
    EXPECT_EQ(get(rb, 8), "y");
    ozmu_rbuf_delete(rb);

    // The line feed as the last byte of storage, no CR, nothing after it: the read index wraps
    // to 1 (past the write index 0), leaving size - 1 stale bytes.
    rb = buffer_at(8, 5);
    put(rb, "ab\n");
    EXPECT_EQ(indices(rb), std::make_pair(0, 5));
    EXPECT_EQ(line(rb, 64).text, std::string("ab\r\n\0", 5));
    EXPECT_EQ(indices(rb), std::make_pair(0, 1));
    EXPECT_EQ(ozmu_rbuf_is_full(rb), 1);
    ozmu_rbuf_delete(rb);

    // Not complete within cap - to_end bytes of the second segment: nothing consumed.
    rb = buffer_at(8, 6);
    put(rb, "abcde\n");
    EXPECT_EQ(line(rb, 5).length, 0);
    EXPECT_EQ(line(rb, 2).length, 0);  // to_end >= cap
    EXPECT_EQ(line(rb, 6).text, std::string("abcde\r\n\0", 8));
    ozmu_rbuf_delete(rb);

    // A zero byte in the first segment only ends its scan; the line still completes after the
    // wrap, the dst bytes after the zero unwritten.
    rb = buffer_at(8, 5);
    put(rb, std::string("a\0bc\n", 5));
    out = line(rb, 64);
    EXPECT_EQ(out.text, std::string("a\0#c\r\n\0", 7));
    ozmu_rbuf_delete(rb);
}

TEST(Rbuf, AllocationFailuresLeaveNothing)
{
    using namespace ozmu::container;
    EXPECT_EQ(2, expect_clean_failures([](const Heap &heap) { return rbuf_create(64, heap); },
                                       ozmu_rbuf_delete));
}

// The rules, step by step, on plain integers and a byte vector.
struct RbufModel {
    int w = 0, r = 0, s;
    Bytes st;
    explicit RbufModel(int size) : s(size), st(static_cast<size_t>(size), 0) {}

    bool empty() const { return w == r; }
    bool full() const { return w == (r + s - 1) % s; }
    int free_len() const { return r > w ? r - w - 1 : s - w + r + 1; }
    int fill_len() const { return w >= r ? w - r : s + w - r - 1; }
    int freec() const { return r > w ? r - w - 1 : r == 0 ? s - w - 1 : s - w; }
    int fillc() const { return (w < r ? s : w) - r; }

    int put(const uint8_t *src, int n)
    {
        if (n < 0 || full())
            return 0;
        if (r > w) {
            if (r - w > n) {
                std::copy_n(src, n, &st[w]);
                w += n;
                return n;
            }
            return 0;
        }
        const int room = s - w;
        if (room > n) {
            std::copy_n(src, n, st.begin() + w);
            w += n;
            return n;
        }
        if (r == 0) {
            if (room != n)
                return 0;
            std::copy_n(src, n, st.begin() + w);
            w = s;
            return n;
        }
        std::copy_n(src, room, st.begin() + w);
        const int rest = n - room;
        if (r <= rest)
            return 0;
        w = rest;
        std::copy_n(src + room, rest, st.begin());
        return n;
    }
    int get(uint8_t *dst, int n)
    {
        if (n < 0 || empty())
            return 0;
        if (w > r) {
            const int k = std::min(w - r, n);
            std::copy_n(st.begin() + r, k, dst);
            r += k;
            return k;
        }
        const int to_end = s - r;
        if (to_end < n) {
            std::copy_n(st.begin() + r, to_end, dst);
            const int k = std::min(n - to_end, w);
            std::copy_n(st.begin(), k, dst + to_end);
            r = k;
            return to_end + k;
        }
        std::copy_n(st.begin() + r, n, dst);
        r = (r + n) % s;
        return n;
    }
    int skip_head(int n)
    {
        if (n < 0 || full())
            return 0;
        if (r > w) {
            const int k = std::min(n, r - w - 1);
            w += k;
            return k;
        }
        const int room = s - w;
        if (room > n) {
            w += n;
            return n;
        }
        if (r == 0)
            return std::min(room - 1, n);
        w = r > n - room ? n - room : r - 1;
        return room + w;
    }
    int skip_tail(int n)
    {
        if (n < 0 || empty())
            return 0;
        if (w > r) {
            const int k = std::min(w - r, n);
            r += k;
            return k;
        }
        const int to_end = s - r;
        if (to_end > n) {
            r += n;
            return n;
        }
        const int k = std::min(n - to_end, w);
        r = k;
        return k + to_end;
    }
    // Scans from st[from] into dst for up to `limit` bytes. The LF's position, -1 at the limit,
    // -2 at a zero byte (both copied).
    int scan(uint8_t *dst, int from, int64_t limit) const
    {
        for (int i = 0; i < limit; ++i) {
            dst[i] = st[from + i];
            if (dst[i] == 0)
                return -2;
            if (dst[i] == '\n')
                return i;
        }
        return -1;
    }
    static int finish(uint8_t *dst, int lf)
    {
        int length = lf + 1;
        if (lf == 0 || dst[lf - 1] != '\r') {
            dst[lf] = '\r';
            dst[lf + 1] = '\n';
            length = lf + 2;
        }
        dst[length] = 0;
        return length;
    }
    int line(uint8_t *dst, int cap)
    {
        if (empty())
            return 0;
        if (w > r) {
            const int lf = scan(dst, r, std::min<int64_t>(w - r, int64_t{cap} - 1));
            if (lf < 0)
                return 0;
            const int length = finish(dst, lf);
            r = r + length > s ? r + length - s : r + length;
            return length;
        }
        const int to_end = s - r;
        const int lf = scan(dst, r, to_end);
        if (lf >= 0) {
            const int length = finish(dst, lf);
            r = r + length > s ? r + length - s : r + length;
            return length;
        }
        if (to_end >= cap)
            return 0;
        if (st[s - 1] == '\r' && st[0] == '\n') {
            dst[to_end] = '\n';
            dst[to_end + 2] = 0;
            r = 1;
            return to_end + 2;
        }
        const int lf2 = scan(dst + to_end, 0, std::min<int64_t>(w, int64_t{cap} - to_end));
        if (lf2 < 0)
            return 0;
        const int length = finish(dst + to_end, lf2);
        r = length;
        return to_end + length;
    }
};

// Text-like bytes: line feeds, CRs and the odd zero among letters.
Bytes random_text(Rng &rng, int n)
{
    Bytes b(static_cast<size_t>(std::max(n, 0)));
    for (uint8_t &c : b) {
        const int k = rng.range(0, 99);
        c = k < 15 ? '\n' : k < 25 ? '\r' : k < 28 ? 0 : uint8_t('a' + k % 26);
    }
    return b;
}

TEST(RbufModel, RandomOperationSequences)
{
    Rng rng(0x7B);
    for (int round = 0; round < 3000; ++round) {
        const int size = rng.range(1, 24);
        ozmu_rbuf *rb = ozmu_rbuf_create(size);
        RbufModel m(size);
        std::string ops;
        for (int step = 0; step < 120; ++step) {
            const int op = rng.range(0, 9);
            const int n = rng.range(0, 9) ? rng.range(0, size + 2) : rng.range(-3, -1);
            char step_name[32];
            std::snprintf(step_name, sizeof step_name, "%d:%d ", op, n);
            ops += step_name;
            int got = 0, want = 0;
            Bytes out, model_out;
            switch (op) {
            case 0:
            case 1: {
                const Bytes src = random_text(rng, n);
                got = ozmu_rbuf_put(rb, src.data(), n);
                want = m.put(src.data(), n);
                break;
            }
            case 2:
                out.assign(static_cast<size_t>(std::max(n, 0)), 0xA5);
                model_out = out;
                got = ozmu_rbuf_get(rb, out.data(), n);
                want = m.get(model_out.data(), n);
                break;
            case 3:
            case 4: {  // a line; cap from below 0 to past the size
                const int cap = rng.range(-1, size + 4);
                out.assign(static_cast<size_t>(std::max(cap, size)) + 2, 0xA5);
                model_out = out;
                got = ozmu_rbuf_get_one_line(rb, reinterpret_cast<char *>(out.data()), cap);
                want = m.line(model_out.data(), cap);
                break;
            }
            case 5: {  // write into the head region, then commit any count
                uint8_t *p;
                int len;
                ozmu_rbuf_get_head(rb, &p, &len);
                const bool full = m.full();
                ASSERT_EQ(p, full ? nullptr : rb->storage + m.w) << ops;
                ASSERT_EQ(len, full ? 0 : m.freec()) << ops;
                const Bytes text = random_text(rng, len);
                std::copy(text.begin(), text.end(), p);
                std::copy(text.begin(), text.end(), m.st.begin() + m.w);
                got = ozmu_rbuf_skip_head(rb, n);
                want = m.skip_head(n);
                break;
            }
            case 6:
                got = ozmu_rbuf_skip_head(rb, n), want = m.skip_head(n);
                break;
            case 7: {
                uint8_t *p;
                int len;
                ozmu_rbuf_get_tail(rb, &p, &len);
                ASSERT_EQ(p, m.empty() ? nullptr : rb->storage + m.r) << ops;
                ASSERT_EQ(len, m.empty() ? 0 : m.fillc()) << ops;
                got = ozmu_rbuf_skip_tail(rb, n), want = m.skip_tail(n);
                break;
            }
            case 8:
                got = ozmu_rbuf_skip_tail(rb, n), want = m.skip_tail(n);
                break;
            default:
                if (rng.range(0, 3) == 0) {
                    ozmu_rbuf_empty(rb);
                    m.r = m.w;
                }
            }
            const std::string where = "size " + std::to_string(size) + " ops: " + ops + seed_note();
            ASSERT_EQ(got, want) << where;
            ASSERT_TRUE(same_bytes(model_out.data(), out.data(), out.size())) << where;
            ASSERT_EQ(indices(rb), std::make_pair(m.w, m.r)) << where;
            ASSERT_TRUE(m.w >= 0 && m.w <= size && m.r >= 0 && m.r <= size) << where;
            ASSERT_TRUE(same_bytes(m.st.data(), rb->storage, size)) << where;
            const std::vector<int> queries{ozmu_rbuf_is_empty(rb),     ozmu_rbuf_is_full(rb),
                                           ozmu_rbuf_get_free_len(rb), ozmu_rbuf_get_fill_len(rb),
                                           ozmu_rbuf_get_freec_len(rb), ozmu_rbuf_get_fillc_len(rb),
                                           ozmu_rbuf_get_tot_len(rb)};
            ASSERT_EQ(queries, (std::vector<int>{m.empty(), m.full(), m.free_len(), m.fill_len(),
                                                 m.freec(), m.fillc(), size - 1}))
                << where;
        }
        ozmu_rbuf_delete(rb);
    }
}

// Copying and zero-copy use within what the buffer offers keeps the bytes in order, accepts
// every put that fits in size - 1 bytes and returns all that is there.
TEST(RbufQueue, BytesComeOutInOrder)
{
    Rng rng(0x51);
    for (int round = 0; round < 2000; ++round) {
        const int size = rng.range(2, 40);
        ozmu_rbuf *rb = ozmu_rbuf_create(size);
        std::deque<uint8_t> q;
        for (int step = 0; step < 200; ++step) {
            const int fill = static_cast<int>(q.size());
            uint8_t *p;
            int len;
            switch (rng.range(0, 3)) {
            case 0: {
                Bytes src(static_cast<size_t>(rng.range(0, size + 1)));
                rng.fill(src.data(), src.size());
                const int n = static_cast<int>(src.size());
                const int k = ozmu_rbuf_put(rb, src.data(), n);
                ASSERT_TRUE(k == n || k == 0);
                ASSERT_TRUE(k == n || n > size - 1 - fill) << n << " into " << fill << "/" << size;
                if (k == n)
                    q.insert(q.end(), src.begin(), src.end());
                break;
            }
            case 1: {
                const int n = rng.range(0, size + 1);
                Bytes out(static_cast<size_t>(n));
                const int k = ozmu_rbuf_get(rb, out.data(), n);
                ASSERT_EQ(k, std::min(n, fill));
                ASSERT_TRUE(std::equal(out.begin(), out.begin() + k, q.begin()));
                q.erase(q.begin(), q.begin() + k);
                break;
            }
            case 2: {
                ozmu_rbuf_get_head(rb, &p, &len);
                if (len < 1)
                    break;  // (a commit of 0 with the write index at size reports -1)
                const int k = rng.range(1, len);
                Bytes src(static_cast<size_t>(k));
                rng.fill(src.data(), src.size());
                std::copy(src.begin(), src.end(), p);
                ASSERT_EQ(ozmu_rbuf_skip_head(rb, k), k);
                q.insert(q.end(), src.begin(), src.end());
                break;
            }
            default: {
                ozmu_rbuf_get_tail(rb, &p, &len);
                const int k = len > 0 ? rng.range(0, len) : 0;
                ASSERT_TRUE(std::equal(p, p + k, q.begin()));
                ASSERT_EQ(ozmu_rbuf_skip_tail(rb, k), k);
                q.erase(q.begin(), q.begin() + k);
            }
            }
            ASSERT_LE(q.size(), static_cast<size_t>(size));
            // Nothing to read may still not count as empty: see BothIndicesAtSize.
            ASSERT_TRUE(q.empty() ? ozmu_rbuf_get_fillc_len(rb) == 0 : !ozmu_rbuf_is_empty(rb));
        }
        ozmu_rbuf_delete(rb);
    }
}

// Lines that end in CR LF come out whole and in order, except where the CR is the last byte of
// storage and the LF the first: that split is returned one byte longer, the byte before the
// zero unwritten, as documented.
TEST(RbufQueue, CrLfLinesComeOutWhole)
{
    Rng rng(0x1E);
    int splits = 0;
    for (int round = 0; round < 1000; ++round) {
        const int size = rng.range(3, 48);
        ozmu_rbuf *rb = ozmu_rbuf_create(size);
        std::deque<std::string> pending;
        for (int step = 0; step < 300; ++step) {
            if (rng.range(0, 2)) {
                std::string text(static_cast<size_t>(rng.range(0, size - 3)), ' ');
                for (char &c : text)
                    c = char('A' + rng.range(0, 25));
                text += "\r\n";
                if (put(rb, text) > 0)
                    pending.push_back(text);
                continue;
            }
            const int r = rb->read_index;
            const LineOut out = line(rb, size + 2);
            if (pending.empty()) {
                ASSERT_EQ(out.length, 0);
                continue;
            }
            const std::string &want = pending.front();
            const int n = static_cast<int>(want.size());
            if (r + n - 1 == size) {  // CR at the end of storage, LF at its start
                ++splits;
                ASSERT_EQ(out.length, n + 1);
                ASSERT_EQ(out.text.substr(0, size_t(n)), want);
                ASSERT_EQ(out.dst[size_t(n) + 1], 0);
            } else {
                ASSERT_EQ(out.text, want + '\0');
            }
            pending.pop_front();
        }
        ozmu_rbuf_delete(rb);
    }
    EXPECT_GT(splits, 100);
}

}  // namespace
