#include "tables/columns/Column.h"

#include <algorithm>
#include <bit>
#include <chrono>
#include <cstring>
#include <vector>

#include "format/Date.h"

namespace torva::tables::columns {
namespace {

constexpr u32 kFirstRows = 1024;
constexpr std::size_t kMostText = 0x7fffffff;  // what offsets of 32 bits address

// Bytes of storage for a number of `width` bytes.
constexpr u8 StoredWidth(u32 width) { return width == 3 ? u8{4} : static_cast<u8>(width); }

u64 Number(const u8* payload, u32 width) {
    u64 number = 0;
    std::memcpy(&number, payload, width);
    return number;
}

u64 SignExtended(u64 number, u32 width) {
    const u32 unused = 64 - 8 * width;
    return static_cast<u64>(static_cast<i64>(number << unused) >> unused);
}

bool Allows(Kind kind, u8 tag) {
    const u32 width = PayloadWidth(tag);
    switch (kind) {
        case Kind::kText:
        case Kind::kHex:
            return tag == kTextTag || width > 0;
        case Kind::kFloat:
            return width == 4 || width == 8;
        default:
            return width > 0;
    }
}

u8 TypeOf(Kind kind, u32 storeWidth) {
    const auto step = static_cast<u8>(std::countr_zero(storeWidth | 16U));
    switch (kind) {
        case Kind::kUnsigned:
            return static_cast<u8>(TVT_UINT8 + step);
        case Kind::kSigned:
            return static_cast<u8>(TVT_INT8 + step);
        case Kind::kFloat:
            return storeWidth == 4 ? TVT_FLOAT : TVT_DOUBLE;
        case Kind::kDate:
            return TVT_DATE;
        case Kind::kBool:
            return TVT_BOOL;
        default:
            return TVT_FIXED;
    }
}

}  // namespace

bool DaysOfDate(u64 number, i32& days) {
    const auto date = DateOf(number);
    if (!date) return false;
    days = static_cast<i32>(std::chrono::sys_days(*date).time_since_epoch().count());
    return true;
}

namespace {

// The length of the character at `at`, 0 where it is not valid.
std::size_t CharacterLength(const u8* at, const u8* end) {
    const auto follows = [&](std::size_t i, u8 low, u8 high) {
        return at + i < end && at[i] >= low && at[i] <= high;
    };
    const u8 lead = *at;
    if (lead < 0x80) return 1;
    if (lead >= 0xc2 && lead <= 0xdf) return follows(1, 0x80, 0xbf) ? 2 : 0;
    if (lead >= 0xe0 && lead <= 0xef) {
        const u8 low = lead == 0xe0 ? 0xa0 : 0x80;
        const u8 high = lead == 0xed ? 0x9f : 0xbf;
        return follows(1, low, high) && follows(2, 0x80, 0xbf) ? 3 : 0;
    }
    if (lead >= 0xf0 && lead <= 0xf4) {
        const u8 low = lead == 0xf0 ? 0x90 : 0x80;
        const u8 high = lead == 0xf4 ? 0x8f : 0xbf;
        return follows(1, low, high) && follows(2, 0x80, 0xbf) && follows(3, 0x80, 0xbf) ? 4 : 0;
    }
    return 0;
}

bool IsAscii(const u8* bytes, std::size_t n) {
    u64 all = 0;
    std::size_t at = 0;
    for (; at + 8 <= n; at += 8) {
        u64 word = 0;
        std::memcpy(&word, bytes + at, 8);
        all |= word;
    }
    for (; at < n; ++at) all |= bytes[at];
    return (all & 0x8080808080808080U) == 0;
}

}  // namespace

bool AllUtf8(const u8* bytes, const i32* offsets, u64 count) {
    if (count == 0 || offsets[count] == 0) return true;
    const auto size = static_cast<std::size_t>(offsets[count]);
    if (IsAscii(bytes, size)) return true;
    // Together they are valid, and no text begins inside a character.
    for (const u8* at = bytes; at < bytes + size;) {
        const std::size_t length = CharacterLength(at, bytes + size);
        if (length == 0) return false;
        at += length;
    }
    for (u64 i = 0; i < count; ++i) {
        const auto at = static_cast<std::size_t>(offsets[i]);
        if (at < size && (bytes[at] & 0xc0U) == 0x80) return false;
    }
    return true;
}

void Column::DecideText(TextCodec* codec, Budget* budget) {
    const i32* const from = offsets.As<i32>();
    const auto size = static_cast<std::size_t>(from[dictionarySize]);
    if (codec == nullptr || codec->IsIdentity()) {
        type = AllUtf8(values.As(), from, dictionarySize) ? TVT_TEXT : TVT_BINARY;
        return;
    }
    type = TVT_BINARY;
    Buffer decoded;
    Buffer ends;
    decoded.Resize(size + size / 2 + 1, budget);
    ends.Resize(offsets.Room(), budget);
    std::size_t used = 0;
    *ends.As<i32>() = 0;
    for (u64 i = 0; i < dictionarySize; ++i) {
        const auto text =
            codec->Decode({values.As<char>() + from[i], static_cast<std::size_t>(from[i + 1] - from[i])});
        if (!text) return;
        if (used + text->size() > kMostText) throw LimitError();
        if (used + text->size() > decoded.Room())
            decoded.Resize(used + text->size() + decoded.Room() / 2, budget);
        if (!text->empty()) std::memcpy(decoded.As() + used, text->data(), text->size());
        used += text->size();
        ends.As<i32>()[i + 1] = static_cast<i32>(used);
    }
    decoded.Resize(std::max<std::size_t>(used, 1), budget);
    values = std::move(decoded);
    offsets = std::move(ends);
    type = TVT_TEXT;
}

ColumnBuilder::ColumnBuilder(ColumnSpec columnSpec, bool wantOwn, Budget* columnBudget)
    : budget(columnBudget), spec(std::move(columnSpec)), wantsOwn(wantOwn) {
    if (spec.tag != 0) Decide(spec.tag);
}

void ColumnBuilder::SetDefault(const FieldView& field) {
    hasDefault = true;
    defaultTag = field.tag;
    defaultPayload.assign(reinterpret_cast<const char*>(field.payload), field.size);
    defaultPayload.resize(defaultPayload.size() + kMostPayload);
    if (tag == 0) Decide(field.tag);
    ConvertDefault();
}

void ColumnBuilder::ConvertDefault() {
    if (!hasDefault) return;
    const auto size = static_cast<u32>(defaultPayload.size() - kMostPayload);
    defaultCell = Convert({defaultTag, reinterpret_cast<const u8*>(defaultPayload.data()), size});
    defaultText = defaultCell.text;
}

// Takes the column's type from a tag, where its kind allows that.
bool ColumnBuilder::Decide(u8 fieldTag) {
    if (!Allows(spec.kind == Kind::kAuto && fieldTag == kTextTag ? Kind::kText : spec.kind, fieldTag))
        return false;
    if (spec.kind == Kind::kAuto) {
        spec.kind = fieldTag == kTextTag ? Kind::kText : Kind::kUnsigned;
        spec.guessed = true;
    }
    tag = fieldTag;
    sourceWidth = static_cast<u8>(PayloadWidth(fieldTag));
    SetStore();
    if (IsText() && spec.interned) interned = std::make_unique<Interner>();
    if (filled > 0) {  // nulls until now
        const u32 rows = filled;
        capacity = 0;
        Reserve(rows);
        if (IsText()) std::memset(offsets.As(), 0, (std::size_t{rows} + 1) * sizeof(i32));
        if (!IsText()) std::memset(values.As(), 0, std::size_t{rows} * storeWidth);
    }
    ConvertDefault();
    return true;
}

void ColumnBuilder::SetStore() {
    const bool text = spec.kind == Kind::kText || tag == kTextTag;
    storeWidth = text                       ? u8{0}
                 : spec.kind == Kind::kHex  ? sourceWidth
                 : spec.kind == Kind::kDate ? u8{4}
                 : spec.kind == Kind::kBool ? u8{1}
                                            : StoredWidth(sourceWidth);
    store = Store::kOther;
    if (text) {
        store = Store::kText;
        // Texts of other tags end where their zeros begin, which is for the slow path to find.
        if (tag != kTextTag) tag = kTextTag;
    } else if (spec.kind != Kind::kDate && spec.kind != Kind::kBool && storeWidth == sourceWidth) {
        store = storeWidth == 1   ? Store::k1
                : storeWidth == 2 ? Store::k2
                : storeWidth == 4 ? Store::k4
                : storeWidth == 8 ? Store::k8
                                  : Store::kOther;
    }
}

// A number wider than those before: they are stored anew.
void ColumnBuilder::Widen(u8 fieldTag) {
    const u8 before = storeWidth;
    tag = fieldTag;
    sourceWidth = static_cast<u8>(PayloadWidth(fieldTag));
    SetStore();
    if (storeWidth != before) {
        Buffer wider;
        wider.Resize(std::size_t{capacity} * storeWidth, budget);
        for (u32 row = 0; row < filled; ++row) {
            u64 number = Number(values.As() + std::size_t{row} * before, before);
            if (spec.kind == Kind::kSigned) number = SignExtended(number, before);
            if (spec.kind == Kind::kFloat) {
                number =
                    std::bit_cast<u64>(static_cast<double>(std::bit_cast<float>(static_cast<u32>(number))));
            }
            std::memcpy(wider.As() + std::size_t{row} * storeWidth, &number, storeWidth);
        }
        values = std::move(wider);
    }
    ConvertDefault();
}

ColumnBuilder::Cell ColumnBuilder::Convert(const FieldView& field) const {
    const u32 width = PayloadWidth(field.tag);
    Cell cell;
    if (field.tag != kTextTag && width == 0) return cell;
    cell.verdict = Verdict::kConflict;
    if (IsText()) {
        if (field.tag == kTextTag) {
            cell.text = {reinterpret_cast<const char*>(field.payload), std::size_t{field.size} - 1};
        } else if (spec.kind == Kind::kText && !spec.guessed) {
            cell.text = {reinterpret_cast<const char*>(field.payload), width};
            while (!cell.text.empty() && cell.text.back() == 0) cell.text.remove_suffix(1);
        } else {
            return cell;
        }
        cell.verdict = Verdict::kValue;
        return cell;
    }
    if (field.tag == kTextTag || store == Store::kNone) return cell;
    const u64 number = Number(field.payload, width);
    cell.bits = number;
    switch (spec.kind) {
        case Kind::kHex:
            if (width != storeWidth) return cell;
            break;
        case Kind::kSigned:
            cell.bits = SignExtended(number, width);
            break;
        case Kind::kFloat:
            if (width != 4 && width != 8) return cell;
            if (width < storeWidth) {
                cell.bits =
                    std::bit_cast<u64>(static_cast<double>(std::bit_cast<float>(static_cast<u32>(number))));
            }
            break;
        case Kind::kDate: {
            i32 days = 0;
            cell.verdict = DaysOfDate(number, days) ? Verdict::kValue : Verdict::kImpossible;
            cell.bits = static_cast<u32>(days);
            return cell;
        }
        case Kind::kBool:
            cell.verdict = number <= 1 ? Verdict::kValue : Verdict::kImpossible;
            return cell;
        default:
            break;
    }
    cell.verdict = Verdict::kValue;
    return cell;
}

void ColumnBuilder::PutSlowly(u32 row, const FieldView& field) {
    const u32 width = PayloadWidth(field.tag);
    if (store == Store::kNone && (width > 0 || field.tag == kTextTag)) Decide(field.tag);
    const bool numbers = store != Store::kNone && !IsText() && spec.kind != Kind::kHex;
    if (numbers && width > sourceWidth && Allows(spec.kind, field.tag)) Widen(field.tag);
    PutCell(row, Convert(field));
}

void ColumnBuilder::PutCell(u32 row, const Cell& cell) {
    Reserve(row + 1);
    if (cell.verdict != Verdict::kValue) {
        PutNull(row);
        if (cell.verdict == Verdict::kNull) return;
        faultyRow = row;
        faultyVerdict = cell.verdict;
        ++FaultCounter();
        return;
    }
    if (IsText()) {
        const auto* const text = reinterpret_cast<const u8*>(cell.text.data());
        return PutText(row, text, static_cast<u32>(cell.text.size()), text + cell.text.size());
    }
    std::memcpy(values.As() + std::size_t{row} * storeWidth, &cell.bits, storeWidth);
    filled = row + 1;
}

void ColumnBuilder::PutNull(u32 row) { FillNull(row + 1); }

void ColumnBuilder::NeedValidity() {
    if (validity.Room() > 0) return;
    validity.Resize(BitmapBytes(std::max(capacity, 1U)), budget);
    std::memset(validity.As(), 0, validity.Room());
}

void ColumnBuilder::FillNull(u32 to) {
    Reserve(to);
    NeedValidity();
    SetBits(validity.As(), validFrom, filled);
    validFrom = to;
    nulls += to - filled;
    if (IsText()) {
        i32* const at = offsets.As<i32>();
        const i32 held = interned != nullptr ? 0 : at[filled];
        const u32 first = interned != nullptr ? filled : filled + 1;
        const u32 last = interned != nullptr ? to : to + 1;
        std::fill(at + first, at + last, held);
    } else if (store != Store::kNone) {
        std::memset(values.As() + std::size_t{filled} * storeWidth, 0, std::size_t{to - filled} * storeWidth);
    }
    filled = to;
}

void ColumnBuilder::FillDefault(u32 to) {
    Reserve(to);
    if (IsText()) {
        const std::size_t size = defaultText.size();
        const auto* const text = reinterpret_cast<const u8*>(defaultText.data());
        if (interned != nullptr) {
            const auto number = static_cast<i32>(interned->Number(text, size, budget));
            std::fill(offsets.As<i32>() + filled, offsets.As<i32>() + to, number);
            plainBytes += u64{size} * (to - filled);
        } else {
            std::size_t held = static_cast<std::size_t>(offsets.As<i32>()[filled]);
            const u64 more = u64{size} * (to - filled);
            if (held + more > texts.Room()) {
                if (more > kMostText) throw LimitError();
                GrowTexts(held, static_cast<std::size_t>(more));
            }
            for (u32 row = filled; row < to; ++row) {
                if (size > 0) std::memcpy(texts.As() + held, text, size);
                held += size;
                offsets.As<i32>()[row + 1] = static_cast<i32>(held);
            }
        }
        filled = to;
        return;
    }
    const auto fill = [&](auto value) {
        auto* const cells = values.As<decltype(value)>();
        std::fill(cells + filled, cells + to, value);
    };
    switch (storeWidth) {
        case 1:
            fill(static_cast<u8>(defaultCell.bits));
            break;
        case 2:
            fill(static_cast<u16>(defaultCell.bits));
            break;
        case 4:
            fill(static_cast<u32>(defaultCell.bits));
            break;
        case 8:
            fill(defaultCell.bits);
            break;
        default:
            for (u32 row = filled; row < to; ++row) {
                std::memcpy(values.As() + std::size_t{row} * storeWidth, &defaultCell.bits, storeWidth);
            }
    }
    filled = to;
}

// The rows up to `to` have no value of their own.
void ColumnBuilder::Fill(u32 to) {
    if (to <= filled) return;
    const u32 missing = to - filled;
    if (wantsOwn) {
        Reserve(to);
        SetBits(own.As(), ownFrom, filled);
        ownFrom = to;
    }
    if (!hasDefault || defaultCell.verdict != Verdict::kValue) {
        FillNull(to);
        if (hasDefault && defaultCell.verdict == Verdict::kConflict) conflicts += missing;
        if (hasDefault && defaultCell.verdict == Verdict::kImpossible) impossible += missing;
        return;
    }
    FillDefault(to);
}

void ColumnBuilder::Reserve(u32 rows) {
    if (rows <= capacity) return;
    const u32 grown = std::max({rows, kFirstRows, capacity + capacity / 2});
    const u32 wanted = (grown + 63) / 64 * 64;
    if (IsText()) {
        const bool first = offsets.Room() == 0;
        offsets.Resize((std::size_t{wanted} + 1) * sizeof(i32), budget);
        if (first) *offsets.As<i32>() = 0;
    } else if (storeWidth > 0) {
        values.Resize(std::size_t{wanted} * storeWidth, budget);
    }
    for (Buffer* const bits : {&validity, &own}) {
        const std::size_t held = bits->Room();
        const bool needed = bits == &own ? wantsOwn : held > 0;
        if (!needed || held >= BitmapBytes(wanted)) continue;
        bits->Resize(BitmapBytes(wanted), budget);
        std::memset(bits->As() + held, 0, bits->Room() - held);
    }
    capacity = wanted;
}

void ColumnBuilder::ReserveFor(u32 rows, double textGrowth) {
    if (store == Store::kNone) return;
    Reserve(rows);
    if (!IsText() || interned != nullptr) return;
    const double expected = static_cast<double>(TextBytes(filled)) * textGrowth;
    const bool grows = expected > static_cast<double>(texts.Room());
    if (grows && expected < static_cast<double>(kMostText)) {
        texts.Resize(static_cast<std::size_t>(expected), budget);
    }
}

void ColumnBuilder::GrowTexts(std::size_t held, std::size_t more) {
    constexpr std::size_t kSlack = 32;
    if (more > kMostText || held + more > kMostText) throw LimitError();
    texts.Resize(std::max(held + more + kSlack, texts.Room() + texts.Room() / 2 + 1024), budget);
}

std::size_t ColumnBuilder::TextBytes(u32 rows) const {
    return rows == 0 || offsets.Room() == 0 ? 0 : static_cast<std::size_t>(offsets.As<i32>()[rows]);
}

void ColumnBuilder::TakeBack(u32 row) {
    if (filled != row + 1) return;
    filled = row;
    if (validity.Room() > 0 && validFrom == row + 1) {
        --nulls;
        validFrom = row;
    }
    if (faultyRow == row) --FaultCounter();
    if (interned != nullptr && validFrom <= row) {
        const u32 number = static_cast<u32>(offsets.As<i32>()[row]);
        plainBytes -= interned->End(number) - interned->Begin(number);
    }
}

// Texts are numbered where a quarter of them or fewer are distinct in the sample.
void ColumnBuilder::DecideInterning(u32 rows) {
    if (!IsText() || interned != nullptr) return;
    Fill(rows);
    if (nulls >= rows || offsets.Room() == 0) return;
    Interner sample;
    constexpr u32 kFirstLook = 256;  // where most are distinct, few are looked at
    const u64 most = (rows - nulls) / 4;
    u32 seen = 0;
    CloseRuns();
    for (u32 row = 0; row < rows; ++row) {
        if (nulls > 0 && !Bit(validity.As(), row)) continue;
        const auto at = static_cast<std::size_t>(offsets.As<i32>()[row]);
        const auto size = static_cast<std::size_t>(offsets.As<i32>()[row + 1]) - at;
        sample.Number(texts.As() + at, size, budget);
        if (sample.Count() > most || (++seen == kFirstLook && sample.Count() > kFirstLook / 2)) return;
    }
    InternRows(rows);
}

// Replaces offsets by numbers, in the same place.
void ColumnBuilder::InternRows(u32 rows) {
    interned = std::make_unique<Interner>();
    plainBytes = TextBytes(rows);
    i32* const at = offsets.As<i32>();
    i32 begin = 0;
    for (u32 row = 0; row < rows; ++row) {
        const i32 end = at[row + 1];
        const bool null = nulls > 0 && !Bit(validity.As(), row);
        const auto size = static_cast<std::size_t>(end - begin);
        at[row] = null ? 0 : static_cast<i32>(interned->Number(texts.As() + begin, size, budget));
        begin = end;
    }
    texts.Free();
}

// The texts of numbers, one after the other again.
void ColumnBuilder::Expand() {
    if (plainBytes > kMostText) return;  // they have no offsets of 32 bits
    Buffer plainOffsets;
    plainOffsets.Resize((std::size_t{filled} + 1) * sizeof(i32), budget);
    if (plainBytes > 0) texts.Resize(static_cast<std::size_t>(plainBytes), budget);
    std::size_t held = 0;
    *plainOffsets.As<i32>() = 0;
    for (u32 row = 0; row < filled; ++row) {
        if (nulls == 0 || Bit(validity.As(), row)) {
            const auto number = static_cast<u32>(offsets.As<i32>()[row]);
            const std::size_t size = interned->End(number) - interned->Begin(number);
            if (size > 0) std::memcpy(texts.As() + held, interned->Bytes() + interned->Begin(number), size);
            held += size;
        }
        plainOffsets.As<i32>()[row + 1] = static_cast<i32>(held);
    }
    offsets = std::move(plainOffsets);
    interned.reset();
}

void ColumnBuilder::CloseRuns() {
    if (validity.Room() > 0) SetBits(validity.As(), validFrom, filled);
    validFrom = filled;
    if (own.Room() > 0) SetBits(own.As(), ownFrom, filled);
    ownFrom = filled;
}

ColumnSpec ColumnBuilder::Known() const {
    ColumnSpec known = spec;
    known.tag = store == Store::kNone ? u8{0} : tag;
    known.interned = interned != nullptr;
    return known;
}

bool ColumnBuilder::Append(ColumnBuilder& next, u32 rows, u32 nextRows) {
    Fill(rows);
    next.Fill(nextRows);
    const u32 all = rows + nextRows;
    if (next.store == Store::kNone) {
        Fill(all);
    } else {
        if (store == Store::kNone && !Decide(next.tag)) return false;
        if (spec.kind != next.spec.kind || IsText() != next.IsText() ||
            (interned == nullptr) != (next.interned == nullptr)) {
            return false;
        }
        if (spec.kind == Kind::kHex && storeWidth != next.storeWidth) return false;
        if (next.sourceWidth > sourceWidth && !IsText()) Widen(next.tag);
        if (sourceWidth > next.sourceWidth && !IsText()) next.Widen(tag);
        CloseRuns();
        next.CloseRuns();
        Reserve(all);
        if (next.nulls > 0) {
            NeedValidity();
            if (nulls == 0) SetBits(validity.As(), 0, rows);
            AppendBits(validity.As(), rows, next.validity.As(), nextRows);
        } else if (nulls > 0) {
            SetBits(validity.As(), rows, all);
        }
        if (wantsOwn) AppendBits(own.As(), rows, next.own.As(), nextRows);
        nulls += next.nulls;
        if (interned != nullptr) {
            std::vector<i32> numbers(next.interned->Count());
            for (u32 i = 0; i < numbers.size(); ++i) {
                const u32 begin = next.interned->Begin(i);
                numbers[i] = static_cast<i32>(
                    interned->Number(next.interned->Bytes() + begin, next.interned->End(i) - begin, budget));
            }
            for (u32 row = 0; row < nextRows; ++row) {
                const auto number = static_cast<std::size_t>(next.offsets.As<i32>()[row]);
                offsets.As<i32>()[rows + row] = number < numbers.size() ? numbers[number] : 0;
            }
            plainBytes += next.plainBytes;
        } else if (IsText()) {
            const std::size_t held = TextBytes(rows);
            const std::size_t more = next.TextBytes(nextRows);
            if (held + more > texts.Room()) GrowTexts(held, more);
            if (more > 0) std::memcpy(texts.As() + held, next.texts.As(), more);
            for (u32 row = 0; row <= nextRows; ++row) {
                offsets.As<i32>()[rows + row] = static_cast<i32>(held) + next.offsets.As<i32>()[row];
            }
        } else {
            if (nextRows > 0)
                std::memcpy(values.As() + std::size_t{rows} * storeWidth, next.values.As(),
                            std::size_t{nextRows} * storeWidth);
        }
        filled = validFrom = ownFrom = all;
    }
    conflicts += next.conflicts;
    impossible += next.impossible;
    repeated += next.repeated;
    next.values.Free();
    next.offsets.Free();
    next.texts.Free();
    next.validity.Free();
    next.own.Free();
    return true;
}

Column ColumnBuilder::Finish(u32 rows, TextCodec* codec) {
    Fill(rows);
    CloseRuns();
    if (interned != nullptr) {
        const u64 numbered = interned->ByteCount() + 4 * (u64{interned->Count()} + 1);
        if (numbered >= plainBytes) Expand();
    }
    Column column;
    column.id = spec.id;
    column.tag = store == Store::kNone ? u8{0} : tag;
    column.name = spec.name;
    column.rows = rows;
    column.nulls = nulls;
    column.conflicts = conflicts;
    column.impossible = impossible;
    column.repeated = repeated;
    column.dictionarySize = rows;
    column.isField = column.nullable = !spec.isSymbol;
    if (wantsOwn) {
        Reserve(1);
        own.Resize(BitmapBytes(std::max(rows, 1U)), budget);
    }
    column.own = std::move(own);
    if (store == Store::kNone) {
        column.nulls = rows;
        return column;
    }
    if (nulls > 0) {
        validity.Resize(BitmapBytes(rows), budget);
        column.validity = std::move(validity);
    }
    if (!IsText()) {
        column.type = TypeOf(spec.kind, storeWidth);
        column.width = storeWidth;
        if (spec.kind == Kind::kBool) {
            column.width = 0;
            column.values.Resize(BitmapBytes(std::max(rows, 1U)), budget);
            std::memset(column.values.As(), 0, column.values.Room());
            for (u32 row = 0; row < rows; ++row) {
                if (values.As()[row] != 0) SetBits(column.values.As(), row, u64{row} + 1);
            }
            return column;
        }
        values.Resize(std::size_t{rows} * storeWidth, budget);
        column.values = std::move(values);
        return column;
    }
    Reserve(1);
    if (interned != nullptr) {
        column.dictionarySize = interned->Count();
        column.offsets.Resize((std::size_t{interned->Count()} + 1) * sizeof(i32), budget);
        for (u32 i = 0; i <= interned->Count(); ++i) {
            column.offsets.As<i32>()[i] =
                static_cast<i32>(i == interned->Count() ? interned->ByteCount() : interned->Begin(i));
        }
        column.values.Resize(static_cast<std::size_t>(std::max<u64>(interned->ByteCount(), 1)), budget);
        if (interned->ByteCount() > 0) {
            std::memcpy(column.values.As(), interned->Bytes(),
                        static_cast<std::size_t>(interned->ByteCount()));
        }
        offsets.Resize(std::size_t{std::max(rows, 1U)} * sizeof(i32), budget);
        column.indices = std::move(offsets);
    } else {
        const std::size_t held = TextBytes(rows);
        texts.Resize(std::max<std::size_t>(held, 1), budget);
        offsets.Resize((std::size_t{rows} + 1) * sizeof(i32), budget);
        column.values = std::move(texts);
        column.offsets = std::move(offsets);
    }
    column.type = TVT_BINARY;
    if (spec.kind != Kind::kHex && !spec.binary) column.DecideText(codec, budget);
    return column;
}

}  // namespace torva::tables::columns
