#include "tools/tvsym/input/Schema.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>

#include "format/Fields.h"
#include "tables/dictionary/Values.h"

namespace tvsym {

namespace {

// What the values of one field have in common.
struct Common {
    std::array<u64, 256> tags = {};
    u64 values = 0;
    bool dates = true;   // or 0, of the years 1900 to 2199
    bool floats = true;  // of a common size, and too large for a common integer
    bool bools = true;
    u64 negative = 0;  // small numbers below zero

    void Add(u8 tag, std::string_view payload) {
        ++tags[tag];
        if (tag == kTextTag || payload.empty()) return;
        const u64 number = PayloadNumber(payload);
        bools = bools && payload.size() == 1 && number <= 1;
        if (number == 0) return;
        ++values;
        const auto year = number / 10000;
        dates = dates && payload.size() >= 4 && PayloadDate(payload) && year >= 1900 && year < 2200;
        floats = floats && LooksLikeFloat(payload);
        const i64 value = PayloadSigned(payload);
        negative += value < 0 && value > -(i64{1} << (8 * payload.size() - 4)) ? 1 : 0;
    }

    static bool LooksLikeFloat(std::string_view payload) {
        if (payload.size() != sizeof(float) && payload.size() != sizeof(double)) return false;
        const double size = std::fabs(PayloadFloat(payload));
        return std::isfinite(size) && size > 1e-9 && size < 1e15;
    }

    ValueType Type(u8 tag) const {
        if (tag == kTextTag) return ValueType::Text;
        if (values > 0 && dates) return ValueType::Date;
        if (values > 0 && floats) return ValueType::Float;
        if (negative > 0) return ValueType::Signed;
        return values > 0 && bools ? ValueType::Bool : ValueType::Unsigned;
    }
};

}  // namespace

symwrite::FieldDictionary FindSchema(Reader& reader, const Dictionary& known, bool guess) {
    std::map<u16, Common> fields;
    reader.WalkSymbols([&](const SymbolView& symbol) {
        for (const SymbolField& field : symbol.fields) {
            if (!field.cut) fields[field.id].Add(field.tag, field.value);
        }
        return true;
    });
    symwrite::FieldDictionary schema = known.Fields();
    for (auto& [id, common] : fields) {
        for (std::size_t tag = 0; tag < common.tags.size(); ++tag) {
            if (tag != kTextTag && PayloadWidth(static_cast<u8>(tag)) == 0) common.tags[tag] = 0;
        }
        const auto most = std::max_element(common.tags.begin(), common.tags.end());
        if (*most == 0) continue;  // never a value
        const auto tag = static_cast<u8>(most - common.tags.begin());
        const ValueType plain = tag == kTextTag ? ValueType::Text : ValueType::Unsigned;
        schema.Add({id, tag, guess ? common.Type(tag) : plain, fmt::format("field_{}", id)});
    }
    return schema;
}

}  // namespace tvsym
