// The symbols of a file for queries: in file order or from any record on, with the values of a few fields, or
// all own fields, as stored in the file.
//
// A record that is whole in its section and in the file, and whose fields end where it ends, is read here
// without a call of the library and without a copy of its values. From the first record on that is not of
// that kind everything comes from a SymbolCursor, so that a damaged file delivers what it delivers there.
#pragma once

#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "format/Fields.h"
#include "tables/rows/Reader.h"

namespace torva::tables {

class SymbolScan {
public:
    // A record, to come back to it.
    struct Place {
        u32 offset = 2;  // from the section's start
        u32 number = 0;  // of symbols before it
    };

    // Field() serves the fields of `wantedIds` by their index there. With `listOwnFields`, OwnFields() has
    // every own field. `base` must outlive the scan, which neither uses nor moves its position.
    SymbolScan(Reader& base, std::span<const u16> wantedIds, bool listOwnFields);
    SymbolScan(const SymbolScan&) = delete;
    SymbolScan& operator=(const SymbolScan&) = delete;
    ~SymbolScan();

    // The next call of Next reads the record at `place`: the first, or one that At() returned.
    void MoveTo(Place place);

    // Moves to the next symbol; false at the end, which is also where damage ends the walk.
    bool Next();

    // Of the symbol; what it points at is valid until the next call of Next or MoveTo.
    Place At() const { return current; }
    std::string_view Text() const { return text; }
    std::string_view Record() const { return record; }  // its bytes; empty once a record is incomplete
    std::span<const SymbolField> OwnFields() const { return ownFields; }  // in file order

    // The first value of a field, own or default; null where the symbol has neither. A record that broke off
    // has own fields alone.
    const SymbolField* Field(std::size_t wanted) const {
        const Slot& slot = slots[wanted];
        return slot.stamp == stamp ? &slot.field : complete ? slot.fallback : nullptr;
    }

    // What was wrong up to the end of the walk; valid when Next returned false.
    const std::vector<Problem>& Problems() const { return problems; }

    // A sink of DeliverFields.
    static bool Full() { return false; }
    static const u8* TextLimit(const u8* /*text*/, const u8* end) { return end; }
    bool Take(u16 id, u8 tag, const u8* payload, u32 size) {
        const u32 slot = slotOf.empty() ? kNone : slotOf[id];
        if (slot == kNone && !listing) return true;
        const auto* const bytes = reinterpret_cast<const char*>(payload);
        Add(slot, {id, tag, false, false, {bytes, tag == kTextTag ? size - 1 : size}});
        return true;
    }

private:
    struct Slot {
        u64 stamp = 0;  // that of the symbol which has `field`
        SymbolField field;
        const SymbolField* fallback = nullptr;
    };
    static constexpr u16 kNone = 0xffff;

    void Add(u32 slot, const SymbolField& field) {
        if (slot != kNone && slots[slot].stamp != stamp) {
            slots[slot].stamp = stamp;
            slots[slot].field = field;
        }
        if (listing) ownFields.push_back(field);
    }
    const u8* Bytes(u64 offset, u64 count);
    bool NextWhole();
    bool NextBroken();

    Reader& reader;
    const DirectoryEntry* section = nullptr;  // null where the file has no symbols
    std::vector<u16> slotOf;                  // by field id; empty where no field is wanted
    std::vector<Slot> slots;
    bool listing;

    Place next;
    Place current;
    u64 stamp = 0;
    bool complete = true;  // the current record
    std::string_view text;
    std::string_view record;
    std::vector<SymbolField> ownFields;
    std::vector<Problem> problems;

    std::vector<u8> window;  // bytes of the file, and some zeros
    u64 windowOffset = 0;
    std::size_t held = 0;  // bytes of the file in the window
    std::size_t readAhead = 0;

    Place firstBroken;  // the first record that is not whole, once one was met
    u32 skip = 0;       // records from there on that MoveTo passes over
    std::unique_ptr<Reader> brokenReader;
    std::unique_ptr<SymbolCursor> broken;
};

}  // namespace torva::tables
