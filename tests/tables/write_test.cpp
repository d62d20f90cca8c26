// Tables written as symbol files, and loaded again.

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "TorvaTables.hpp"
#include "symwrite/RandomFile.h"
#include "symwrite/SymFileWriter.h"

namespace {

using symwrite::Bytes;
using torvatables::Options;
using torvatables::Table;

Bytes ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), {});
}

void WriteFile(const std::string& path, const Bytes& bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// The cells of a table, a line for each column that has some.
std::string Cells(const Table& table) {
    std::string all;
    for (const torvatables::Column& column : table.Columns()) {
        if (column.Raw().nulls == table.Rows()) continue;
        all += std::string(column.Name()) + " " + std::to_string(column.Raw().type) + ":";
        for (std::int64_t row = 0; row < table.Rows(); ++row) {
            all += column.IsOwn(row) ? " own " : " ";
            if (const auto text = column.Text(row)) all += *text;
            if (const auto number = column.Number<double>(row)) all += std::to_string(*number);
            if (column.IsNull(row)) all += "null";
        }
        all += "\n";
    }
    return all;
}

class WriteTest : public testing::Test {
protected:
    ~WriteTest() override {
        std::filesystem::remove(base);
        std::filesystem::remove(written);
        std::filesystem::remove(written + ".target");
        std::filesystem::remove(base + ".fields.json");
    }
    std::string base = testing::TempDir() + "write_test_base.sym";
    std::string written = testing::TempDir() + "write_test_written.sym";
};

TEST_F(WriteTest, ATableIsTheSameWhenItIsLoadedAgain) {
    for (std::uint64_t seed = 1; seed < 20; ++seed) {
        symwrite::RandomFileOptions random;
        random.seed = seed;
        random.anyBytes = seed % 2 == 0;
        random.shuffle = seed % 3 == 0;
        random.symbols = 50;
        WriteFile(base, symwrite::Write(symwrite::RandomFile(random)));
        for (const std::uint32_t flags : {0U, std::uint32_t{TVT_OWN_FLAGS}}) {
            Options options;
            options.flags = flags;
            const Table table = Table::Load(base, options);
            table.Write(written, base);
            ASSERT_EQ(Cells(Table::Load(written, options)), Cells(table)) << "seed " << seed;
            Options section;  // what comes after the symbols is where the directory says
            section.section = 16;
            ASSERT_EQ(Cells(Table::Load(written, section)), Cells(Table::Load(base, section)));
        }
    }
}

// Records in the order of ids, gaps, defaults and a null in place of one, every type of a dictionary.
TEST_F(WriteTest, AFileWithoutChangesIsTheSameByteForByte) {
    symwrite::File file;
    file.sections = {{.id = 16, .rows = {symwrite::Row({1, "first", "second"})}},
                     {.id = 1, .fields = {symwrite::TextField(2, "usual"), symwrite::NumberField(3, 4, 77)}},
                     {.id = 2},
                     {.id = 9, .rows = {symwrite::Row({1, "name"})}}};
    symwrite::Random random(5);
    for (std::uint32_t i = 0; i < 3000; ++i) {
        symwrite::Row symbol({"S" + std::to_string(i)});
        if (random.OneIn(3)) symbol.fields.push_back(symwrite::TextField(2, random.OneIn(2) ? "usual" : "B"));
        if (random.OneIn(3)) symbol.fields.push_back(symwrite::NullField(3));
        if (random.OneIn(2)) symbol.fields.push_back(symwrite::NumberField(4, 6, random.Next()));
        if (random.OneIn(2)) symbol.fields.push_back(symwrite::NumberField(5, 5, 20240229));
        if (random.OneIn(2)) symbol.fields.push_back(symwrite::NumberField(6, 1, random.Below(2)));
        if (random.OneIn(2)) symbol.fields.push_back(symwrite::NumberField(7, 9, random.Below(1U << 24U)));
        if (random.OneIn(2)) symbol.fields.push_back(symwrite::NumberField(8, 2, random.Below(256)));
        file.sections[2].rows.push_back(std::move(symbol));
    }
    const Bytes image = symwrite::Write(file);
    WriteFile(base, image);
    std::ofstream(base + ".fields.json")
        << R"({"5": {"name": "listed", "type": "date", "tag": 5}, "6": {"name": "b", "type": "bool"},
               "7": {"name": "h", "type": "hex", "tag": 9}, "8": {"name": "s", "type": "signed", "tag": 2}})";
    Options options;
    options.flags = TVT_OWN_FLAGS;
    Table::Load(base, options).Write(base, base);
    EXPECT_TRUE(ReadFile(base) == image);
    // Without a base there are the symbols alone, with their defaults as values of their own.
    const Table table = Table::Load(base);
    table.Write(written, "");
    EXPECT_EQ(Table::Load(written).Rows(), 3000);
    EXPECT_EQ(Table::Load(written)["2"].Text(0), table["2"].Text(0));
}

// A column of another library, as one of the struct array of a stream.
struct Foreign {
    std::string name;
    std::string format;
    const void* values;
};

struct Columns {
    std::vector<ArrowSchema> schemas;
    std::vector<ArrowArray> arrays;
    std::vector<ArrowSchema*> schemaPointers;
    std::vector<ArrowArray*> arrayPointers;
    std::vector<const void*> buffers;
    bool delivered = false;
    bool released = false;
};

// A stream of one batch with one row: symbol "A" and the given column.
void MakeStream(const Foreign& column, Columns& made, ArrowArrayStream* stream) {
    static const std::int32_t kOffsets[] = {0, 1};
    made.schemas.resize(2);
    made.arrays.resize(2);
    made.buffers = {nullptr, kOffsets, "A", nullptr, column.values, column.values};
    if (column.format == "u") made.buffers[4] = kOffsets;
    const Foreign both[] = {{"symbol", "u", nullptr}, column};
    for (std::size_t i = 0; i < 2; ++i) {
        made.schemas[i] = {};
        made.schemas[i].format = i == 0 ? "u" : column.format.c_str();
        made.schemas[i].name = i == 0 ? "symbol" : column.name.c_str();
        made.arrays[i] = {};
        made.arrays[i].length = 1;
        made.arrays[i].buffers = made.buffers.data() + 3 * i;
        made.schemaPointers.push_back(&made.schemas[i]);
        made.arrayPointers.push_back(&made.arrays[i]);
    }
    *stream = {};
    stream->private_data = &made;
    stream->get_schema = [](ArrowArrayStream* self, ArrowSchema* schema) {
        auto* const columns = static_cast<Columns*>(self->private_data);
        *schema = {};
        schema->format = "+s";
        schema->n_children = 2;
        schema->children = columns->schemaPointers.data();
        schema->release = [](ArrowSchema* it) { it->release = nullptr; };
        return 0;
    };
    stream->get_next = [](ArrowArrayStream* self, ArrowArray* array) {
        auto* const columns = static_cast<Columns*>(self->private_data);
        *array = {};
        if (std::exchange(columns->delivered, true)) return 0;
        array->length = 1;
        array->n_children = 2;
        array->children = columns->arrayPointers.data();
        array->release = [](ArrowArray* it) { it->release = nullptr; };
        return 0;
    };
    stream->get_last_error = [](ArrowArrayStream*) -> const char* { return nullptr; };
    stream->release = [](ArrowArrayStream* self) {
        static_cast<Columns*>(self->private_data)->released = true;
        self->release = nullptr;
    };
}

TEST_F(WriteTest, ValuesThatDoNotFitAreRefusedAndTheOldFileStays) {
    WriteFile(base, symwrite::Write(symwrite::SmallFile()));
    std::ofstream(base + ".fields.json") << R"({"900": {"name": "small", "type": "unsigned", "tag": 4},
                                                "901": {"name": "low", "type": "signed", "tag": 2}})";
    const std::int64_t large = 70000;
    const std::int64_t minus = -128;
    const std::int64_t below = -129;
    const std::string target = written + ".target";
    std::filesystem::create_symlink(target, written);
    const double third = 1.0 / 3;
    const struct {
        Foreign column;
        const char* error;  // a part of the message; null: it is written
    } cases[] = {
        {{"small", "l", &large}, "row 0, column small: 70000 does not fit"},
        {{"small", "l", &minus}, "-128 does not fit"},
        {{"low", "l", &minus}, nullptr},
        {{"low", "l", &below}, "-129 does not fit"},
        {{"902", "l", &large}, nullptr},
        {{"902", "l", &minus}, nullptr},
        {{"903", "g", &third}, nullptr},
        {{"904", "u", "\xff"}, nullptr},
        {{"905", "u", "\0"}, "zero byte"},
        {{"unknown", "l", &large}, "column unknown"},
        {{"906", "tsu:", &large}, "tsu:"},
        {{"907", "w:5", &large}, "5 bytes"},
        {{"65536", "l", &large}, "65536"},
    };
    for (const auto& one : cases) {
        WriteFile(written, {1, 2, 3});
        Columns made;
        ArrowArrayStream stream;
        MakeStream(one.column, made, &stream);
        TvtError error{};
        const std::int32_t result = tvt_Write(written.c_str(), base.c_str(), &stream, nullptr, &error);
        EXPECT_TRUE(made.released);
        EXPECT_TRUE(std::filesystem::is_symlink(written));
        for (const auto& entry : std::filesystem::directory_iterator(testing::TempDir())) {
            EXPECT_FALSE(entry.path().string().starts_with(target + ".")) << "a part is left: " << entry;
        }
        if (one.error == nullptr) {
            ASSERT_EQ(result, TVT_OK) << error.message;
            const Table table = Table::Load(written);
            ASSERT_EQ(table.Rows(), 1);
            EXPECT_FALSE(table.FindColumn(one.column.name == "low" ? "901" : one.column.name)->IsNull(0));
        } else {
            EXPECT_EQ(result, TVT_ERR_PARAM);
            EXPECT_NE(std::string(error.message).find(one.error), std::string::npos) << error.message;
            EXPECT_EQ(ReadFile(written), (Bytes{1, 2, 3}));
        }
    }
}

}  // namespace
