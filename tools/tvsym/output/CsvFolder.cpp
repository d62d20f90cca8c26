#include "tools/tvsym/output/CsvFolder.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <map>

#include "tools/tvsym/system/System.h"

namespace tvsym {

namespace fs = std::filesystem;

CsvFolder::CsvFolder(std::string folderPath, std::string sourceFile)
    : path(std::move(folderPath)), source(std::move(sourceFile)) {
    std::error_code error;
    made = fs::create_directories(path, error);
    if (error) {
        throw ToolError(kExitUnreadable, fmt::format("{}: {}", path, error.message()));
    }
}

CsvFolder::~CsvFolder() {
    files.clear();
    if (made) {
        std::error_code ignored;
        fs::remove(path, ignored);
    }
}

Output CsvFolder::Begin(const std::string& name) {
    files.push_back(std::make_unique<Replacement>((fs::path(path) / name).string(), source));
    return Output(files.back()->Path(), files.back()->Target());
}

std::vector<Problem> CsvFolder::AddSections(Reader& reader, const RowContext& context,
                                            const std::vector<u16>& wanted) {
    const StoredFile stored = StoredSections(reader, wanted);
    const auto writeHex = [&](Output& out, u64 offset, u64 size) {
        reader.Bytes().Read(offset, size, [&](std::string_view bytes) { out.Write(Hex(bytes)); });
    };
    std::vector<std::string> names;
    std::map<u16, size_t> ofOneId;
    std::vector<Problem> problems;
    bool lost = !stored.whole;
    const auto isOdd = [](const StoredSection& one) { return one.odd.head || one.odd.count || one.odd.size; };
    const bool odd = std::ranges::any_of(stored.sections, isOdd);
    const auto orEmpty = [](const std::optional<u64>& number) {
        return number ? fmt::format("{}", *number) : "";
    };
    for (const StoredSection& section : stored.sections) {
        const u16 id = section.entry.id;
        const size_t before = ofOneId[id]++;
        names.push_back(section.section ? fmt::format("{}.csv", section.section->name)
                        : before == 0   ? fmt::format("section-{}.csv", id)
                                        : fmt::format("section-{}-{}.csv", id, before + 1));
        Add(names.back(), [&](Output& out) {
            if (section.section && !section.bytesOnly) {
                const WalkResult walk = WalkStored(reader, id, *MakeCsvRows(out, StoredForm(id), context));
                lost = lost || !section.IsWhole(walk);
                problems.insert(problems.end(), walk.problems.begin(), walk.problems.end());
            } else {
                out.Write(fmt::format("{}\r\n", kCsvRawColumn));
                writeHex(out, section.BodyOffset(), section.BodySize());
                out.Write("\r\n");
            }
        });
    }
    if (!context.dictionary.All().empty()) {
        Add(kCsvDictionary, [&](Output& out) {
            JsonWriter json(out);
            json.Fields(context.dictionary.Fields()).EndLine();
            json.Flush();
        });
    }
    Add(kCsvDirectoryFile, [&](Output& out) {
        const char* const rest = odd ? ",,,\r\n" : "\r\n";
        out.Write(odd ? "id,file,before,head,count,size\r\n" : "id,file,before\r\n");
        for (size_t at = 0; at < names.size(); ++at) {
            const StoredSection& section = stored.sections[at];
            out.Write(fmt::format("{},{},", section.entry.id, names[at]));
            if (section.before > 0) {
                writeHex(out, section.entry.offset - section.before, section.before);
            }
            if (odd) {
                out.Write(fmt::format(",{},{},{}", orEmpty(section.odd.head), orEmpty(section.odd.count),
                                      orEmpty(section.odd.size)));
            }
            out.Write("\r\n");
        }
        if (lost) {
            out.Write(fmt::format(",{},{}", kCsvDamaged, rest));
        }
        if (stored.behind > 0) {
            out.Write(",,");
            writeHex(out, reader.Directory().fileSize - stored.behind, stored.behind);
            out.Write(rest);
        }
    });
    return problems;
}

// What an earlier dump or export wrote: two of them in one folder would be taken for one.
void CsvFolder::RemoveOld() const {
    if (!fs::exists(fs::path(path) / kCsvDirectoryFile)) return;
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(path, ignored)) {
        const std::string name = entry.path().filename().string();
        const bool isNew = std::ranges::any_of(
            files, [&](const auto& file) { return fs::path(file->Target()).filename() == name; });
        const std::string stem = entry.path().stem().string();
        const bool ours =
            (entry.path().extension() == ".csv" &&
             (stem.starts_with("section-") ||
              std::ranges::any_of(torva::kSections, [&](const SectionInfo& s) { return s.name == stem; }))) ||
            name == kWideFile || (stem.starts_with("load-") && entry.path().extension() == ".sql");
        if (ours && !isNew) fs::remove(entry.path(), ignored);
    }
}

void CsvFolder::TakePlace() {
    for (const auto& file : files) {
        file->Synchronize();
    }
    RemoveOld();
    made = false;
    for (const auto& file : files) {
        file->Rename();
    }
    torva::tables::SynchronizeDirectory(path);
}

}  // namespace tvsym
