#include "tools/tvsym/input/FlatSymbols.h"

#include <algorithm>

#include "format/LittleEndian.h"

namespace tvsym {

namespace {

constexpr size_t kMostMade = 4096;

std::string_view View(const symwrite::Bytes& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace

bool IsPlainText(std::string_view text) {
    const auto simple = [](char c) { return c > 0; };
    return std::ranges::all_of(text, simple) || (text.find('\0') == std::string_view::npos && IsUtf8(text));
}

const symwrite::Field* FlatField::Text(std::string_view text) {
    if (!IsText() || !utf8 || !IsPlainText(text)) return Other(text, std::string(text));
    field.id = id;
    field.tag = kTextTag;
    field.value.assign(text);
    return &field;
}

const symwrite::Field* FlatField::Unsigned(u64 number) {
    const size_t width = known ? PayloadWidth(known->tag) : 0;
    if (!known || known->type != symwrite::FieldType::Unsigned || width == 0 ||
        number > torva::LargestNumber(width)) {
        return Other(std::to_string(number), number);
    }
    field.id = id;
    field.tag = known->tag;
    field.value.resize(width);
    torva::WriteNumber(field.value.data(), number, width);
    return &field;
}

const symwrite::Field* FlatField::Other(std::string_view key, const symwrite::Json& value) {
    if (made.size() >= kMostMade) made.clear();
    std::string wanted(1, static_cast<char>('0' + static_cast<int>(value.type())));
    wanted += key;
    const auto found = made.find(wanted);
    if (found != made.end()) return &found->second;
    symwrite::JsonErrors errors;
    general.Add({{"id", id}, {"value", value}}, errors);
    std::vector<symwrite::Field> result = general.Take().fields;
    if (!errors.Empty() || result.size() != 1) return nullptr;
    return &made.emplace(std::move(wanted), std::move(result.front())).first->second;
}

bool FlatSymbols::SetText(std::string_view symbol) {
    if (!utf8 || !IsPlainText(symbol)) return false;
    row.cells[0].bytes.assign(symbol);
    return true;
}

void FlatSymbols::End() {
    record.clear();
    symwrite::AppendSymbol(record, row);
    records.Add(View(record));
}

void FlatSymbols::AddGeneral(symwrite::Json symbol, symwrite::JsonErrors& errors) {
    symbols.Add(std::move(symbol), errors);
    records.Add(View(symbols.Take().raw.value_or(symwrite::Bytes())));
}

}  // namespace tvsym
