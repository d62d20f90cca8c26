#include "symwrite/JsonNode.h"

#include <algorithm>
#include <charconv>
#include <istream>

namespace symwrite {

namespace {

constexpr std::size_t kErrorsKept = 20;
constexpr std::size_t kShownLength = 40;
constexpr std::size_t kDeepest = 64;

// A value as a message shows it: short, on one line, ASCII for what could upset a terminal.
std::string Shown(const Json& value) {
    if (value.is_object() || value.is_array()) {
        return value.is_object() ? "an object" : "an array";
    }
    std::string text = value.dump(-1, ' ', true, Json::error_handler_t::replace);
    if (text.size() > kShownLength) {
        text.resize(kShownLength - 3);
        text += "...";
    }
    return text;
}

std::string Printable(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c < 0x20 || c > 0x7E; }, '?');
    return text;
}

}  // namespace

void JsonErrors::Add(std::string where, std::string what) {
    ++count;
    if (first.size() < kErrorsKept) {
        first.push_back({std::move(where), std::move(what)});
    }
}

std::string EscapedStep(std::string_view key) {
    std::string step;
    for (const char c : key) {
        if (c == '~') {
            step += "~0";
        } else if (c == '/') {
            step += "~1";
        } else {
            step += c;
        }
    }
    return step;
}

JsonNode::JsonNode(const Json& json, JsonErrors& sink, std::string_view prefix)
    : value(&json), errors(&sink), key(prefix) {}

JsonNode::JsonNode(const Json& json, const JsonNode& owner, std::string_view name, std::size_t elementIndex)
    : value(&json), errors(owner.errors), parent(&owner), key(name), index(elementIndex) {}

std::string JsonNode::Pointer() const {
    if (parent == nullptr) {
        return std::string(key);
    }
    return parent->Pointer() + '/' + (parent->value->is_array() ? std::to_string(index) : EscapedStep(key));
}

void JsonNode::Fail(const std::string& what) const { errors->Add(Pointer(), what); }

void JsonNode::FailExpected(std::string_view expected) const {
    Fail("expected " + std::string(expected) + ", found " + Shown(*value));
}

bool JsonNode::IsObjectOf(std::span<const std::string_view> names) const {
    if (!value->is_object()) {
        FailExpected("an object");
        return false;
    }
    ForEachMember([&](std::string_view name, const JsonNode& member) {
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            member.Fail("unknown key");
        }
    });
    return true;
}

std::uint64_t JsonNode::Number(std::uint64_t max) const {
    // What doubles cannot hold is written as a string of its digits.
    if (value->is_string() && max > kMostExactInteger) {
        const std::string& digits = value->get_ref<const std::string&>();
        std::uint64_t number = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
        if (error == std::errc() && end == digits.data() + digits.size() && number <= max) return number;
    }
    // A number that was put into a document by a program may be signed without being negative.
    const bool whole =
        value->is_number_unsigned() || (value->is_number_integer() && value->get<std::int64_t>() >= 0);
    if (!whole || value->get<std::uint64_t>() > max) {
        FailExpected("a whole number from 0 to " + std::to_string(max));
        return 0;
    }
    return value->get<std::uint64_t>();
}

std::string JsonNode::Text(torva::TextCodec* codec) const {
    std::string text;
    if (IsHexObject()) {
        Require("hex", [&](const JsonNode& hex) { text = hex.Hex(); });
    } else if (!value->is_string()) {
        FailExpected("a text");
        return {};
    } else if (codec != nullptr) {
        std::optional<std::string> encoded = codec->Encode(value->get_ref<const std::string&>());
        if (!encoded) {
            Fail("the file's character set cannot express this text");
            return {};
        }
        text = std::move(*encoded);
    } else {
        text = value->get<std::string>();
    }
    if (text.find('\0') != std::string::npos) {
        Fail("a text cannot contain a zero byte");
        return {};
    }
    return text;
}

std::string JsonNode::Hex(std::optional<std::size_t> size) const {
    std::optional<std::string> bytes =
        value->is_string() ? torva::FromHex(value->get_ref<const std::string&>()) : std::nullopt;
    if (!bytes || (size && bytes->size() != *size)) {
        FailExpected(size ? std::to_string(2 * *size) + " hex digits" : "hex digits, two a byte");
        return {};
    }
    return std::move(*bytes);
}

namespace {

// Builds the document from the events of the parser. Members are appended without a search for an equal key,
// which would make large objects slow; the keys are compared when the object ends.
class DocumentBuilder final : public nlohmann::json_sax<Json> {
public:
    DocumentBuilder(Json& root, JsonErrors& sink, const TakeObject& take)
        : document(root), errors(sink), takeObject(take) {}

    bool null() override { return Put(nullptr); }
    bool boolean(bool value) override { return Put(value); }
    bool number_integer(number_integer_t value) override { return Put(value); }
    bool number_unsigned(number_unsigned_t value) override { return Put(value); }
    bool number_float(number_float_t value, const string_t&) override { return Put(value); }
    bool string(string_t& value) override { return Put(std::move(value)); }
    bool binary(binary_t&) override { return false; }
    bool start_object(std::size_t) override { return Open(Json::object()); }
    bool start_array(std::size_t) override { return Open(Json::array()); }

    bool key(string_t& value) override {
        steps.back().key = std::move(value);
        return true;
    }

    bool end_object() override {
        CheckKeys(open.back()->get_ref<const Json::object_t&>());
        const Json& object = *open.back();
        open.pop_back();
        steps.pop_back();
        if (takeObject && !open.empty() && takeObject(steps, object)) {
            DropLast(*open.back());
        }
        Advance();
        return true;
    }

    bool end_array() override {
        open.pop_back();
        steps.pop_back();
        Advance();
        return true;
    }

    bool parse_error(std::size_t, const std::string& token,
                     const nlohmann::detail::exception& error) override {
        if (dynamic_cast<const Json::out_of_range*>(&error) != nullptr) {
            errors.Add(Pointer(steps.size()),
                       Printable("the number " + token.substr(0, kShownLength) + " is too large"));
            return false;
        }
        // "[json.exception.parse_error.101] parse error at line 1, column 2: what"
        std::string what = Printable(error.what());
        std::string where;
        const std::string_view lead = "parse error at ";
        const std::size_t place = what.find(lead);
        const std::size_t colon = what.find(": ", place == std::string::npos ? 0 : place);
        if (place != std::string::npos && colon != std::string::npos) {
            where = what.substr(place + lead.size(), colon - place - lead.size());
            what = what.substr(colon + 2);
        }
        errors.Add(where, what);
        return false;
    }

private:
    template <typename T>
    bool Put(T&& value) {
        Append(Json(std::forward<T>(value)));
        Advance();
        return true;
    }

    bool Open(Json&& container) {
        if (open.size() == kDeepest) {
            errors.Add("",
                       "arrays and objects are nested deeper than " + std::to_string(kDeepest) + " levels");
            return false;
        }
        const bool isArray = container.is_array();
        open.push_back(&Append(std::move(container)));
        steps.push_back({});
        steps.back().inArray = isArray;
        return true;
    }

    Json& Append(Json&& value) {
        if (open.empty()) {
            document = std::move(value);
            return document;
        }
        Json& container = *open.back();
        if (container.is_array()) {
            container.push_back(std::move(value));
            return container.back();
        }
        auto& members = container.get_ref<Json::object_t&>();
        static_cast<Json::object_t::Container&>(members).emplace_back(steps.back().key, std::move(value));
        return members.back().second;
    }

    static void DropLast(Json& container) {
        JsonDocument::Clear(container.back());
        if (container.is_array()) {
            container.get_ref<Json::array_t&>().pop_back();
        } else {
            static_cast<Json::object_t::Container&>(container.get_ref<Json::object_t&>()).pop_back();
        }
    }

    // The next element of the array under way has the next index.
    void Advance() {
        if (!steps.empty() && steps.back().inArray) {
            ++steps.back().index;
        }
    }

    // To the place in the first `depth` containers.
    std::string Pointer(std::size_t depth) const {
        std::string pointer;
        for (std::size_t i = 0; i < depth; ++i) {
            pointer += '/' + (steps[i].inArray ? std::to_string(steps[i].index) : EscapedStep(steps[i].key));
        }
        return pointer;
    }

    void CheckKeys(const Json::object_t& members) {
        std::vector<std::string_view> keys;
        keys.reserve(members.size());
        for (const auto& member : members) {
            keys.push_back(member.first);
        }
        std::sort(keys.begin(), keys.end());
        for (auto twin = std::adjacent_find(keys.begin(), keys.end()); twin != keys.end();
             twin = std::adjacent_find(std::upper_bound(twin, keys.end(), *twin), keys.end())) {
            errors.Add(Pointer(steps.size() - 1), "the member \"" + std::string(*twin) + "\" occurs twice");
        }
    }

    Json& document;
    JsonErrors& errors;
    const TakeObject& takeObject;
    std::vector<Json*> open;  // containers under way; only the innermost grows, so that these stay valid
    std::vector<ParsedStep> steps;  // one for each container: the place in it
};

}  // namespace

void JsonDocument::Clear(Json& json) {
    if (!json.is_structured()) return;
    for (Json& child : json) Clear(child);
    if (json.is_array()) json.get_ref<Json::array_t&>().clear();
    if (json.is_object()) json.get_ref<Json::object_t&>().clear();
}

JsonDocument ParseJson(std::istream& in, JsonErrors& errors, const TakeObject& takeObject) {
    JsonDocument document;
    DocumentBuilder builder(document.Value(), errors, takeObject);
    Json::sax_parse(in, &builder);
    return document;
}

}  // namespace symwrite
