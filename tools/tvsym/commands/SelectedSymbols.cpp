#include "tools/tvsym/commands/SelectedSymbols.h"

#include "tools/tvsym/input/SymbolFile.h"
#include "tools/tvsym/output/Problems.h"
#include "tools/tvsym/output/QueryResult.h"
#include "tools/tvsym/output/SymbolPrinter.h"

namespace tvsym {

namespace {

// Reads single records in any order.
class Records {
public:
    Records(std::shared_ptr<const FileSource> bytes, std::vector<u16> fields, ReadMode readMode)
        : source(std::move(bytes)), filter(std::move(fields)), mode(readMode) {}

    // Null where the record cannot be read any more.
    const SymbolView* Read(u32 offset) {
        if (!cursor ||
            !cursor->Symbol().complete) {  // a walk does not continue after a record that broke off
            cursor.reset();
            reader = std::make_unique<Reader>(source, ReaderOptions{mode, filter});
            cursor.emplace(reader->Symbols());
        }
        cursor->MoveTo(offset);
        return cursor->Next() ? &cursor->Symbol() : nullptr;
    }

private:
    std::shared_ptr<const FileSource> source;
    std::vector<u16> filter;
    ReadMode mode;
    std::unique_ptr<Reader> reader;
    std::optional<SymbolCursor> cursor;
};

}  // namespace

int PrintSelected(Selection& selection, const SelectOptions& select, const FileOptions& file,
                  const std::shared_ptr<const FileSource>& source, const Dictionary& dictionary, bool json,
                  const std::vector<u16>& filter, bool* any) {
    Output out;
    bool found = false;
    TextCodec codec(file.encoding);
    if (!select.columns.empty()) {
        SqlQuery rows = selection.Columns();
        found = WriteQuery(rows, out, json ? "ndjson" : "table") > 0;
    } else {
        SymbolPrinter printer(out, dictionary, codec, json);
        Records records(source, filter, file.Mode());
        SqlQuery offsets = selection.Offsets();
        while (offsets.Next()) {
            const SymbolView* const symbol = records.Read(static_cast<u32>(offsets.Column(0).integer));
            if (symbol != nullptr) printer.Print(*symbol);
            found = found || symbol != nullptr;
        }
    }
    out.Close();
    if (any != nullptr) *any = found;
    ReportEncoding(file.file, codec.AllDecoded() && selection.AllDecoded(), file.encoding);
    return ReportProblems(source->Name(), selection.Problems());
}

}  // namespace tvsym
