// Ring buffer: each kept quirk of the index arithmetic and the line extractor stated once, then
// random operation sequences against a model of the indices and storage, written step by step
// from the rules and compared after every operation.
#include <algorithm>
#include <climits>
#include <string>
#include <vector>

#include "checkasm.h"
#include "ozmu.h"
#include "container_test.h"

namespace {

using namespace ozmu::test;
using Bytes = std::vector<uint8_t>;

int put(ozmu_rbuf *rb, const std::string &s)
{
    const Bytes b(s.begin(), s.end());  // exact heap block: ASan sees over-reads
    return ozmu_rbuf_put(rb, b.data(), static_cast<int>(b.size()));
}

// The operations a quirk is shown with; n is the bytes put, the count committed or the cap.
using Op = int (*)(ozmu_rbuf *, char *dst, int n);
int put_n(ozmu_rbuf *rb, char *, int n) { return put(rb, std::string(size_t(n), 'x')); }
int skip_head(ozmu_rbuf *rb, char *, int n) { return ozmu_rbuf_skip_head(rb, n); }
int line(ozmu_rbuf *rb, char *dst, int cap) { return ozmu_rbuf_get_one_line(rb, dst, cap); }
int free_len(ozmu_rbuf *rb, char *, int) { return ozmu_rbuf_get_free_len(rb); }
int fill_len(ozmu_rbuf *rb, char *, int) { return ozmu_rbuf_get_fill_len(rb); }
int freec_len(ozmu_rbuf *rb, char *, int) { return ozmu_rbuf_get_freec_len(rb); }

// Both indices start at `at` and `fill` is put in before the operation. `out` is a line's
// destination through its zero, '#' standing for a byte not written.
struct Quirk {
    const char *what;
    int size, at;
    std::string fill;
    Op op;
    int n, result, w, r;
    std::string out;
};

using std::string_literals::operator""s;
const Quirk kQuirks[] = {
    {"free total of an empty buffer is size + 1", 8, 0, "", free_len, 0, 9, 0, 0, ""},
    {"contiguous free spares a byte with read at 0", 8, 0, "", freec_len, 0, 7, 0, 0, ""},
    {"wrapped fill total is one short", 8, 3, "abcdefg", fill_len, 0, 6, 2, 3, ""},
    {"with read at 0 a put may fill the storage", 8, 0, "abcde", put_n, 3, 3, 8, 0, ""},
    {"but not more", 8, 0, "", put_n, 9, 0, 0, 0, ""},
    {"a commit with write at size: told, not made", 8, 0, "12345678", skip_head, 1, -1, 8, 0, ""},
    {"empty put with both at size moves write", 8, 8, "", put_n, 0, 0, 0, 8, ""},
    {"an inserted CR costs the next byte", 16, 0, "ab\ncd", line, 16, 4, 5, 4, "ab\r\n\0"s},
    {"a CR already there is kept", 16, 0, "ab\r\ncd", line, 16, 4, 6, 4, "ab\r\n\0"s},
    {"an empty line gets a CR too", 16, 0, "\nabc", line, 16, 2, 4, 2, "\r\n\0"s},
    {"no line feed: nothing taken", 16, 0, "abc", line, 16, 0, 3, 0, ""},
    {"a zero byte first: nothing taken", 16, 0, "x\0y\n"s, line, 16, 0, 4, 0, ""},
    {"the scan stops after cap - 1 bytes", 16, 0, "abcdef\n", line, 7, 0, 7, 0, ""},
    {"the line may reach dst[cap], read passes write", 16, 0, "abcdef\n", line, 8, 8, 7, 8,
     "abcdef\r\n\0"s},
    {"wrapped: the first segment ignores cap", 8, 3, "abcd\nxy", line, 2, 6, 2, 1, "abcd\r\n\0"s},
    {"LF ending storage: read wraps past write", 8, 5, "ab\n", line, 64, 4, 0, 1, "ab\r\n\0"s},
    {"CR LF split by the wrap: a byte unwritten", 8, 6, "a\r\nb", line, 64, 4, 2, 1, "a\r\n#\0"s},
    {"the CR rule sees the second segment alone", 8, 6, "ab\ncd", line, 64, 4, 3, 2, "ab\r\n\0"s},
    {"a zero byte only ends the first segment", 8, 5, "a\0bc\n"s, line, 64, 6, 2, 3,
     "a\0#c\r\n\0"s},
    {"second segment stops after cap - to_end", 8, 6, "abcde\n", line, 5, 0, 4, 6, ""},
    {"no second segment once the first fills cap", 8, 6, "abcde\n", line, 2, 0, 4, 6, ""},
};

TEST(Rbuf, KeptQuirks)
{
    for (const Quirk &q : kQuirks) {
        SCOPED_TRACE(q.what);
        ozmu_rbuf *rb = ozmu_rbuf_create(q.size);
        rb->write_index = rb->read_index = q.at;
        if (!q.fill.empty()) {  // (an empty put with both indices at size is not a no-op)
            ASSERT_EQ(put(rb, q.fill), int(q.fill.size()));
        }
        std::string dst(size_t(std::max(q.n, q.size)) + 2, '#');
        const int result = q.op(rb, dst.data(), q.n);
        EXPECT_EQ(result, q.result);
        EXPECT_EQ(std::make_pair(rb->write_index, rb->read_index), std::make_pair(q.w, q.r));
        if (q.op == line) {
            EXPECT_EQ(dst.substr(0, result > 0 ? size_t(result) + 1 : 0), q.out);
        }
        ozmu_rbuf_delete(rb);
    }
}

TEST(Rbuf, AllocationFailuresLeaveNothing)
{
    using namespace ozmu::container;
    EXPECT_EQ(2, expect_clean_failures([](const Heap &heap) { return rbuf_create(64, heap); },
                                       ozmu_rbuf_delete));
    for (int size : {0, -1, INT_MIN, INT_MAX})
        EXPECT_EQ(ozmu_rbuf_create(size), nullptr) << size;
    ozmu_rbuf_delete(nullptr);
}

// The rules, step by step, on plain integers and a byte vector.
struct RbufModel {
    int w = 0, r = 0, s;
    Bytes st;
    explicit RbufModel(int size) : s(size), st(static_cast<size_t>(size), 0) {}

    bool empty() const { return w == r; }
    bool full() const { return w == (r + s - 1) % s; }
    int freec() const { return r > w ? r - w - 1 : r == 0 ? s - w - 1 : s - w; }
    int fillc() const { return (w < r ? s : w) - r; }
    std::vector<int> queries() const
    {
        return {empty(),
                full(),
                r > w ? r - w - 1 : s - w + r + 1,
                w >= r ? w - r : s + w - r - 1,
                freec(),
                fillc(),
                s - 1,
                full() ? -1 : w,
                empty() ? -1 : r};
    }

    int put(const uint8_t *src, int n)
    {
        if (n < 0 || full() || (r > w ? r - w <= n : r == 0 && s - w < n))
            return 0;
        const int room = s - w;
        if (r > w || room > n || r == 0) {  // with r at 0 the data may end at s
            std::copy_n(src, n, st.begin() + w);
            w += n;
            return n;
        }
        std::copy_n(src, room, st.begin() + w);  // written even when the rest is refused
        if (r <= n - room)
            return 0;
        w = n - room;
        std::copy_n(src + room, w, st.begin());
        return n;
    }
    int get(uint8_t *dst, int n)
    {
        if (n < 0 || empty())
            return 0;
        const int to_end = s - r;
        const int first = std::min(w > r ? w - r : to_end, n);
        const int second = w > r || to_end >= n ? 0 : std::min(n - to_end, w);
        std::copy_n(st.begin() + r, first, dst);
        std::copy_n(st.begin(), second, dst + first);
        r = w > r ? r + first : to_end < n ? second : (r + n) % s;
        return first + second;
    }
    int skip_head(int n)
    {
        if (n < 0 || full())
            return 0;
        const int room = s - w, old = w;
        if (r > w)
            w += std::min(n, r - w - 1);
        else if (room > n)
            w += n;
        else if (r == 0)
            return std::min(room - 1, n);  // reported, not made
        else
            return room + (w = r > n - room ? n - room : r - 1);
        return w - old;
    }
    int skip_tail(int n)
    {
        if (n < 0 || empty())
            return 0;
        const int to_end = s - r, old = r;
        if (w > r)
            r += std::min(w - r, n);
        else if (to_end > n)
            r += n;
        else
            return to_end + (r = std::min(n - to_end, w));
        return r - old;
    }
    // Copies from st[from] into dst for up to `limit` bytes: the LF's position, or -1 at the
    // limit or a zero byte (both copied).
    int scan(uint8_t *dst, int from, int64_t limit) const
    {
        for (int i = 0; i < limit; ++i) {
            if ((dst[i] = st[from + i]) == '\n')
                return i;
            if (dst[i] == 0)
                return -1;
        }
        return -1;
    }
    static int finish(uint8_t *dst, int lf)
    {
        if (lf == 0 || dst[lf - 1] != '\r') {
            dst[lf++] = '\r';
            dst[lf] = '\n';
        }
        dst[lf + 1] = 0;
        return lf + 1;
    }
    int line(uint8_t *dst, int cap)
    {
        if (empty())
            return 0;
        const bool wrapped = w <= r;
        const int to_end = s - r;
        const int lf = scan(dst, r, wrapped ? to_end : std::min<int64_t>(w - r, int64_t{cap} - 1));
        if (lf >= 0) {
            const int length = finish(dst, lf);
            r = r + length > s ? r + length - s : r + length;
            return length;
        }
        if (!wrapped || to_end >= cap)
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
        r = finish(dst + to_end, lf2);
        return to_end + r;
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
        SCOPED_TRACE(round_note(round));
        for (int step = 0; step < 120; ++step) {
            const int op = rng.range(0, 7);
            const int n = rng.range(0, 9) ? rng.range(0, size + 2) : rng.range(-3, -1);
            int got = 0, want = 0;
            Bytes out, model_out;
            switch (op) {
            case 0:
            case 1: {
                const Bytes src = random_text(rng, n);
                got = ozmu_rbuf_put(rb, src.data(), n), want = m.put(src.data(), n);
                break;
            }
            case 2:
            case 3: {  // get, or a line with cap from below 0 to past the size (dst as documented)
                const int cap = rng.range(-1, size + 4);
                out.assign(static_cast<size_t>(op == 2 ? std::max(n, 0) : std::max(cap, size) + 2),
                           0xA5);
                model_out = out;
                char *dst = reinterpret_cast<char *>(out.data());
                got = op == 2 ? ozmu_rbuf_get(rb, out.data(), n)
                              : ozmu_rbuf_get_one_line(rb, dst, cap);
                want = op == 2 ? m.get(model_out.data(), n) : m.line(model_out.data(), cap);
                break;
            }
            case 4: {  // write into the head region, then commit any count
                uint8_t *head;
                int len;
                ozmu_rbuf_get_head(rb, &head, &len);
                const Bytes text = random_text(rng, len);
                std::copy(text.begin(), text.end(), head);
                std::copy(text.begin(), text.end(), m.st.begin() + m.w);
                [[fallthrough]];
            }
            case 5: got = ozmu_rbuf_skip_head(rb, n), want = m.skip_head(n); break;
            case 6: got = ozmu_rbuf_skip_tail(rb, n), want = m.skip_tail(n); break;
            default:
                if (rng.coin()) {
                    ozmu_rbuf_empty(rb);
                    m.r = m.w;
                }
            }
            ASSERT_EQ(got, want);
            ASSERT_TRUE(same_bytes(model_out.data(), out.data(), out.size()));
            ASSERT_EQ(rb->write_index, m.w);
            ASSERT_EQ(rb->read_index, m.r);
            ASSERT_TRUE(same_bytes(m.st.data(), rb->storage, size));
            uint8_t *head, *tail;
            int head_len, tail_len;
            ozmu_rbuf_get_head(rb, &head, &head_len);
            ozmu_rbuf_get_tail(rb, &tail, &tail_len);
            const std::vector<int> queries{ozmu_rbuf_is_empty(rb),
                                           ozmu_rbuf_is_full(rb),
                                           ozmu_rbuf_get_free_len(rb),
                                           ozmu_rbuf_get_fill_len(rb),
                                           ozmu_rbuf_get_freec_len(rb),
                                           ozmu_rbuf_get_fillc_len(rb),
                                           ozmu_rbuf_get_tot_len(rb),
                                           head ? int(head - rb->storage) : -1,
                                           tail ? int(tail - rb->storage) : -1};
            ASSERT_EQ(queries, m.queries());
            ASSERT_EQ(head_len, head ? m.freec() : 0);
            ASSERT_EQ(tail_len, tail ? m.fillc() : 0);
        }
        ozmu_rbuf_delete(rb);
    }
}

}  // namespace
