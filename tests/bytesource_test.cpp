// The byte source on its own: both read modes against a plain model, its limits, and a file whose reads fail.
#include "library/core/ByteSource.h"

#include <algorithm>
#include <random>

#include "TestSupport.h"
#include "library/stream/FieldLoop.h"

namespace torva::test {
namespace {

constexpr u32 kWindow = ByteSource::kWindowSize;

// What the byte source promises, over a vector.
class Model {
public:
    Model(const Bytes& data, bool wholeFile) : bytes(data), inMemory(wholeFile) {}

    std::string Read(u32 n) {
        const u64 got = std::min<u64>(n, Left());
        std::string text =
            std::to_string(got) + " " + Hex(bytes.data() + Start(), static_cast<std::size_t>(got));
        at += got;
        return text;
    }
    std::string Skip(u32 n) {
        const bool all = n <= Left();
        at += std::min<u64>(n, Left());
        return all || !inMemory ? "true" : "false";
    }
    std::string ReadText(i32 max) {
        if (max < 0) return "TOO_SMALL 0";
        const u64 room = static_cast<u64>(max) + 1, reach = std::min(room, Left());
        const u8* const from = bytes.data() + Start();
        const u8* const zero = std::find(from, from + reach, 0);
        const u64 before = static_cast<u64>(zero - from);
        const bool found = before < reach;
        at += found ? before + 1 : reach;
        const std::string text = Hex(from, static_cast<std::size_t>(before));
        return found ? "OK " + std::to_string(before + 1) + " " + text : "TOO_SMALL " + std::to_string(room);
    }
    void StepBack(u64 n) {
        if (n <= at) at -= n;
    }
    void SeekTo(u32 offset) {
        if (!inMemory || offset <= bytes.size()) at = offset;
    }
    bool AtEnd() const { return Left() == 0; }
    u64 at = 0;

private:
    u64 Left() const { return at < bytes.size() ? bytes.size() - at : 0; }
    u64 Start() const { return std::min<u64>(at, bytes.size()); }
    const Bytes& bytes;
    bool inMemory;
};

// The same calls on the byte source, described in the same words.
std::string Read(ByteSource& source, u32 n) {
    Guarded<u8> room(n);
    const ByteSource::Delivery delivery = source.ReadBytes(room.Data(), n);
    EXPECT_TRUE(room.Intact());
    EXPECT_TRUE(std::all_of(room.Data() + delivery.got, room.Data() + n, [](u8 byte) {
        return byte == 0xcd;
    })) << "written past what was read";
    return delivery.failed ? "failed" : std::to_string(delivery.got) + " " + Hex(room.Data(), delivery.got);
}

std::string ReadPastWindow(ByteSource& source, u32 n) {
    Guarded<u8> room(n);
    const ByteSource::Delivery delivery = source.ReadPastWindow(room.Data(), n);
    EXPECT_TRUE(room.Intact());
    return delivery.failed ? "failed" : std::to_string(delivery.got) + " " + Hex(room.Data(), delivery.got);
}

std::string ReadText(ByteSource& source, i32 max) {
    Guarded<u8> room(static_cast<std::size_t>(std::max(max, 0)) + 1);
    u32 length = 99;
    const i32 result = source.ReadText(room.Data(), max, &length);
    EXPECT_TRUE(room.Intact());
    std::string text = Name(result) + " " + std::to_string(length);
    if (result == SYM_OK) {
        EXPECT_EQ(room[length - 1], 0);
        text += " " + Hex(room.Data(), length - 1);
    }
    return text;
}

std::string Skip(ByteSource& source, u32 n) { return source.SkipBytes(n) ? "true" : "false"; }

// In blocks of exactly the bytes that may be read, for the sanitizer.
TEST(FindTextEnd, FirstZeroOfEverySizeAndPlace) {
    for (std::size_t size = 0; size <= 70; ++size) {
        for (std::size_t zero = 0; zero <= size; ++zero) {
            const auto block = std::make_unique<u8[]>(size);
            std::fill_n(block.get(), zero, u8{0x80});
            if (zero + 2 < size) block[size - 1] = 'x';
            const u8* const end = block.get() + size;
            EXPECT_EQ(FindTextEnd(block.get(), end), zero < size ? block.get() + zero : nullptr) << size;
        }
    }
}

// Random walks over a file of some windows, with the boundaries of the window and the end met often.
TEST(ByteSource, AgreesWithAPlainModel) {
    std::mt19937 random(1);
    const auto upTo = [&](u32 most) { return std::uniform_int_distribution<u32>(0, most)(random); };
    Bytes bytes(3 * kWindow + 77);
    for (u8& byte : bytes) byte = static_cast<u8>(upTo(40) == 0 ? 0 : 1 + upTo(254));
    std::fill_n(bytes.begin() + kWindow - 3000, 6000, u8{'x'});  // a text across a boundary
    const TempFile file(bytes);
    for (const char* const mode : {"file", "memory", "borrowed image"}) {
        SCOPED_TRACE(mode);
        const bool wholeFile = *mode != 'f';
        ByteSource source;
        if (*mode == 'b') {
            source.OpenImage(bytes.data(), bytes.size());
        } else {
            source.Open(platform::OpenFile(file.Path(), platform::Sharing::exclusive), wholeFile);
        }
        source.SeekTo(kWindow + 9);
        source.StepBack(kWindow + 9);
        EXPECT_EQ(source.Position(), 0U) << "all the way back, outside the window";
        Model model(bytes, wholeFile);
        for (const u32 n : {kWindow, kWindow + 1}) {
            source.SeekTo(0), model.SeekTo(0);
            EXPECT_EQ(Read(source, n), model.Read(n)) << "the window's size, and a byte more";
        }
        for (int turn = 0; turn < 3000 && !HasFailure(); ++turn) {
            const u32 few = upTo(3) == 0 ? upTo(kWindow) : upTo(40);
            SCOPED_TRACE(testing::Message() << "turn " << turn << " at " << model.at << ", " << few);
            switch (upTo(7)) {
                case 0:
                    if (const u32 many = upTo(2 * kWindow); upTo(9) == 0) {
                        EXPECT_EQ(Read(source, many), model.Read(many));
                    } else if (source.MayPassWindow(many)) {
                        EXPECT_EQ(ReadPastWindow(source, many), model.Read(many));
                    }
                    break;
                case 1:
                    EXPECT_EQ(Read(source, few), model.Read(few));
                    break;
                case 2:
                case 3:
                    EXPECT_EQ(ReadText(source, static_cast<i32>(few) - 1),
                              model.ReadText(static_cast<i32>(few) - 1));
                    break;
                case 4:
                    EXPECT_EQ(Skip(source, few), model.Skip(few));
                    break;
                case 5:
                    EXPECT_EQ(source.AtEnd(), model.AtEnd());
                    break;
                case 6:
                    source.StepBack(few), model.StepBack(few);
                    break;
                default: {
                    if (upTo(5) != 0) break;
                    const u32 where[] = {upTo(static_cast<u32>(bytes.size()) + 9), kWindow - 20 + upTo(40),
                                         static_cast<u32>(bytes.size()) - 10 + upTo(20)};
                    const u32 offset = where[upTo(2)];
                    source.SeekTo(offset), model.SeekTo(offset);
                }
            }
            EXPECT_EQ(source.Position(), model.at);
        }
    }
}

TEST(ByteSource, TextLimits) {
    const TempFile file(Text("abc") + Text("") + Text("de") + Bytes{'f', 'g'});
    const struct {
        u32 offset;
        i32 max;
        const char* expected;
        u64 position;
    } kCases[] = {
        {0, 3, "OK 4 616263", 4},  {0, 2, "TOO_SMALL 3", 3},
        {0, 0, "TOO_SMALL 1", 1},  {4, 0, "OK 1 ", 5},
        {4, -1, "TOO_SMALL 0", 4}, {5, 2147483, "OK 3 6465", 8},
        {8, 1, "TOO_SMALL 2", 10}, {8, 1000000, "TOO_SMALL 1000001", 10},
    };
    for (const bool wholeFile : {false, true}) {
        ByteSource source;
        source.Open(platform::OpenFile(file.Path(), platform::Sharing::exclusive), wholeFile);
        for (const auto& c : kCases) {
            source.SeekTo(c.offset);
            EXPECT_EQ(ReadText(source, c.max), c.expected) << c.offset << ", " << c.max;
            EXPECT_EQ(source.Position(), c.position);
        }
    }
}

TEST(ByteSource, NoBytes) {
    ByteSource neverOpened;
    EXPECT_TRUE(neverOpened.AtEnd());
    EXPECT_EQ(Read(neverOpened, 4), "0 ");
    EXPECT_EQ(ReadText(neverOpened, 5), "TOO_SMALL 6");
    EXPECT_EQ(Skip(neverOpened, 1), "false");
    const TempFile file(Bytes{});
    for (const bool wholeFile : {false, true}) {
        ByteSource source;
        source.Open(platform::OpenFile(file.Path(), platform::Sharing::exclusive), wholeFile);
        EXPECT_TRUE(source.AtEnd());
        EXPECT_EQ(Read(source, 4), "0 ");
        EXPECT_EQ(Skip(source, 0), "true");
        EXPECT_EQ(Skip(source, 1), wholeFile ? "false" : "true");
        EXPECT_EQ(ReadText(source, 5), "TOO_SMALL 6");
    }
}

// --- reads that fail
// --------------------------------------------------------------------------------------------------

// A file in memory with a bad sector; `badReads` is how many reads that touch it fail. After its bytes it
// continues with zeros up to `size`.
struct Disk {
    Bytes bytes;
    u64 badFrom = 0, badTo = 0;
    int badReads = 1 << 30;
    bool tellsSize = true;
    u64 size = bytes.size();
} disk;

class DiskFile final : public platform::File {
public:
    bool ReadAt(u64 at, void* dst, u32 size, u32& got) override {
        got = static_cast<u32>(std::min<u64>(size, disk.size - std::min(at, disk.size)));
        if (at < disk.badTo && at + got > disk.badFrom && disk.badReads > 0) {
            --disk.badReads;
            got = 0;
            return false;
        }
        const auto held = static_cast<std::size_t>(
            std::min<u64>(got, disk.bytes.size() - std::min<u64>(at, disk.bytes.size())));
        std::memset(dst, 0, got);
        if (held > 0) std::memcpy(dst, disk.bytes.data() + at, held);
        return true;
    }
    bool Size(u64& size) override {
        size = disk.size;
        return disk.tellsSize;
    }
};

class FailingReads : public ::testing::Test {
protected:
    FailingReads() {
        platform::SetFileOpener(
            [](const char*) -> std::unique_ptr<platform::File> { return std::make_unique<DiskFile>(); });
    }
    ~FailingReads() override { platform::SetFileOpener(nullptr); }
};

TEST_F(FailingReads, MeetOnlyTheCallThatNeedsTheSector) {
    disk = {Fill(200, 'x'), 100, 150};
    ByteSource source;
    source.Open(std::make_unique<DiskFile>(), false);
    EXPECT_EQ(Read(source, 100), "100 " + Hex(Fill(100, 'x').data(), 100));
    EXPECT_EQ(Read(source, 1), "failed");
    EXPECT_TRUE(source.AtEnd()) << "a failed probe counts as the end";
    EXPECT_EQ(source.Position(), 100U);
    source.StepBack(10);
    EXPECT_FALSE(source.AtEnd());
    EXPECT_EQ(ReadPastWindow(source, 60), "failed");
    EXPECT_EQ(Read(source, 11), "failed") << "nothing of a read that fails is delivered";
    EXPECT_EQ(Read(source, 10), "10 78787878787878787878");
    EXPECT_EQ(ReadText(source, 7), "TOO_SMALL 8") << "turns without a byte count like characters";
    EXPECT_EQ(source.Position(), 100U);
    source.SeekTo(150);
    EXPECT_EQ(Read(source, 60), "50 " + Hex(Fill(50, 'x').data(), 50)) << "after the sector";
    EXPECT_EQ(Skip(source, 5), "true");
}

TEST_F(FailingReads, ATransientFailureLosesNothing) {
    disk = {Text("abc") + Text("def"), 0, 8, 1};
    ByteSource once, text, twice, skipped;
    for (ByteSource* source : {&once, &text, &twice, &skipped})
        source->Open(std::make_unique<DiskFile>(), false);
    EXPECT_EQ(Read(once, 2), "2 6162") << "tried again without the read-ahead";
    disk.badReads = 2;
    EXPECT_EQ(Read(twice, 2), "failed");
    EXPECT_EQ(Read(twice, 2), "2 6162");
    disk.badReads = 2;
    EXPECT_EQ(ReadText(text, 9), "OK 5 cd616263") << "a failed turn counts";
    disk.badReads = 2;
    u64 taken = 0;
    EXPECT_TRUE(skipped.SkipText(taken));
    EXPECT_EQ(taken, 4U) << "a failed turn takes nothing";
}

// Without its image a file counts as open and has no data.
TEST_F(FailingReads, NoImage) {
    const Bytes bytes = FileOf({RawSection(17, U32(2) + U16(1) + U8(1) + U8(2))});
    const struct {
        const char* name;
        Disk disk;
        bool atEnd;  // position and size are 0, or the size is all ones
    } kCases[] = {
        {"bad sector", {bytes, 10, 11}, true},
        {"no size", {bytes, 10, 11, 1 << 30, false}, false},
        {"2^32 - 1 bytes", {bytes, 0, 0, 0, true, 0xFFFFFFFF}, false},
        {"more", {bytes, 0, 0, 0, true, u64{1} << 33U}, false},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.name);
        disk = c.disk;
        ByteSource source;
        source.Open(std::make_unique<DiskFile>(), true);
        EXPECT_EQ(Read(source, 4), "0 ");
        EXPECT_EQ(Skip(source, 0), "true");
        EXPECT_EQ(Skip(source, 1), "false");
        EXPECT_EQ(source.AtEnd(), c.atEnd);
        EXPECT_EQ(ReadText(source, 3), "TOO_SMALL 4");
        ASSERT_EQ(Open("", {1}), 1);
        EXPECT_EQ(tv_GetExtendSectionList(1, nullptr, 0), 0);
        EXPECT_EQ(tv_InitialRealDelayMappingSection(1), SYM_ERR_NO_SECTION);
        tv_CloseSymFile(1);
    }
}

TEST_F(FailingReads, FileModeReadsBeyond4GiB) {
    constexpr u64 kSize = (u64{1} << 32U) + 100;
    disk = {Text("abc"), 0, 0, 0, true, kSize};
    ByteSource source;
    source.Open(std::make_unique<DiskFile>(), false);
    source.SeekTo(0xFFFFFFFF);
    EXPECT_EQ(Read(source, 3), "3 000000");
    EXPECT_EQ(Skip(source, 90), "true");
    EXPECT_EQ(source.Position(), kSize - 8);
    EXPECT_EQ(Skip(source, 0xFFFFFFFF), "true");
    EXPECT_EQ(source.Position(), kSize) << "the end of the file";
    source.StepBack(kSize);
    EXPECT_EQ(Read(source, 4), "4 61626300");
}

// A skip reads, whatever size the file reports, and ends at the first byte that cannot be read, at the end of
// the data or never past it.
TEST_F(FailingReads, ASkipReads) {
    for (u64 badFrom = 90; badFrom < 200; badFrom += 11) {
        SCOPED_TRACE(badFrom);
        disk = {Fill(200, 'x'), badFrom, badFrom + 40, 1 << 30, false};
        ByteSource source;
        source.Open(std::make_unique<DiskFile>(), false);
        EXPECT_EQ(Skip(source, 90), "true");
        EXPECT_EQ(Skip(source, 1000), "false");
        EXPECT_EQ(source.Position(), badFrom);
        disk.badReads = 0;
        EXPECT_EQ(Skip(source, 1000), "true");
        EXPECT_EQ(source.Position(), 200U);
        EXPECT_EQ(Skip(source, 1), "true");
        EXPECT_EQ(source.Position(), 200U);
    }
}

// A directory entry whose read fails is dropped; the next one may succeed. Strict reads return SYM_ERR_READ.
TEST_F(FailingReads, SeenThroughTheExports) {
    const Bytes bytes =
        FileOf({RawSection(17, U32(4) + U16(2) + U32(0x04030201)), RawSection(5, {}), RawSection(7, {})});
    u8 first = 0, second = 0;
    const struct {
        u64 badFrom;
        i32 listed, initial, next;
    } kCases[] = {
        {0, 0, SYM_ERR_NO_SECTION, SYM_END_OF_DATA},
        {2, 0, SYM_ERR_NO_SECTION, SYM_END_OF_DATA},
        {12, 1, 2, SYM_OK},
        {32, 3, SYM_ERR_NO_SECTION, SYM_END_OF_DATA},
        {34, 3, SYM_ERR_READ, SYM_END_OF_DATA},
        {38, 3, SYM_ERR_READ, SYM_END_OF_DATA},
        {40, 3, SYM_END_OF_DATA, SYM_END_OF_DATA},
        {41, 3, 2, SYM_ERR_READ},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.badFrom);
        disk = {bytes, c.badFrom, c.badFrom + 1};
        ASSERT_EQ(Open("", {0}), 1);
        EXPECT_EQ(tv_GetExtendSectionList(1, nullptr, 0), c.listed);
        EXPECT_EQ(tv_InitialRealDelayMappingSection(1), c.initial);
        EXPECT_EQ(tv_GetNextRealDelayMapping(1, &first, &second), c.next);
        tv_CloseSymFile(1);
    }
}

}  // namespace
}  // namespace torva::test
