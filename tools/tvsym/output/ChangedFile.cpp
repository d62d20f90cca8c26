#include "tools/tvsym/output/ChangedFile.h"

#include <fmt/format.h>

#include <filesystem>

#include "tools/tvsym/input/SymbolFile.h"
#include "tools/tvsym/output/DictionaryFile.h"
#include "tools/tvsym/output/Problems.h"

namespace tvsym {

RecordWalk WalkRecords(Reader& reader, bool ownFields, const std::function<void(const Record&)>& sink) {
    RecordWalk walk;
    const DirectoryEntry* const entry = reader.Directory().Find(2);
    if (entry == nullptr || !entry->Readable()) return walk;
    const u64 end = std::min(entry->End(), reader.Bytes().Size());
    walk.end = std::min(u64{entry->offset} + 2, end);
    const Progress& progress = reader.Options().progress;
    SymbolScan scan(reader, {}, ownFields);
    bool whole = true;
    while (scan.Next()) {
        whole = whole && !scan.Record().empty();
        if (!whole) continue;  // to the end, for the problems
        const std::string_view bytes = scan.Record();
        sink({++walk.records, scan.Text(), bytes, scan.OwnFields()});
        walk.end = u64{entry->offset} + scan.At().offset + bytes.size();
        if (progress) progress(bytes.size());
    }
    walk.problems = scan.Problems();
    walk.tail = end - walk.end;
    if (walk.tail > 0 && walk.problems.empty()) {
        walk.problems.push_back(
            {2, walk.end, fmt::format("{} bytes from here on are not records", walk.tail)});
    }
    return walk;
}

void RecordSpool::Add(std::string_view symbol, std::string_view record) {
    bytes->Add(record);
    digest = Step(digest, symbol, record);
    ++count;
}

void RecordSpool::Add(std::string_view record) {
    const std::string_view text = record.substr(sizeof(u32));
    Add(text.substr(0, text.find('\0')), record);
}

void RecordSpool::AddTail(const FileSource& source, const RecordWalk& walk) {
    source.Read(walk.end, walk.tail, [&](std::string_view piece) { bytes->Add(piece); });
}

bool RecordSpool::Matches(Reader& reader) const {
    u64 found = kHashStart;
    const RecordWalk walk = WalkRecords(
        reader, false, [&](const Record& record) { found = Step(found, record.symbol, record.bytes); });
    return walk.records == count && found == digest;
}

std::unique_ptr<Replacement> WriteBeside(const Rewrite& result, const RecordSpool* symbols,
                                         const ChangeTarget& target) {
    auto replacement =
        std::make_unique<Replacement>(target.path, target.inPlace ? std::string() : target.source);
    Output out(replacement->Path(), target.path);
    result.Write(out);
    out.Close();
    std::error_code ignored;
    if (symbols != nullptr && std::filesystem::is_regular_file(replacement->Path(), ignored)) {
        Reader written(OpenSource(replacement->Path()), {ReadMode::File});
        if (!symbols->Matches(written)) {
            throw ToolError(kExitUnreadable,
                            fmt::format("{}: what was written reads back as something else; the old "
                                        "file stays",
                                        target.path));
        }
    }
    return replacement;
}

void WriteChanged(const Rewrite& result, const RecordSpool* symbols, const ChangeTarget& target,
                  const Dictionary& dictionary) {
    if (target.dryRun) return;
    if (target.path == "-") {
        Output out;
        result.Write(out);
        out.Close();
        return;
    }
    WriteBeside(result, symbols, target)->TakePlace();
    std::error_code ignored;
    if (std::filesystem::is_regular_file(target.path, ignored))
        WriteDictionary(target.path, dictionary.Fields());
}

void ReportChange(const ChangeTarget& target, const std::string& line) {
    const std::string whole = target.dryRun ? line + "; nothing was written" : line;
    if (target.path == "-" && !target.dryRun) {
        PrintError("tvsym: " + whole);
        return;
    }
    Output out;
    out.Write(whole + "\n");
    out.Close();
}

}  // namespace tvsym
