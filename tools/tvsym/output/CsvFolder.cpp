#include "tools/tvsym/output/CsvFolder.h"

#include <fmt/format.h>

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
    const StoredFile stored = StoredSections(reader.Directory(), wanted);
    const auto writeHex = [&](Output& out, u64 offset, u64 size) {
        reader.Bytes().Read(offset, size, [&](std::string_view bytes) { out.Write(Hex(bytes)); });
    };
    std::vector<std::string> names;
    std::map<u16, size_t> ofOneId;
    std::vector<Problem> problems;
    for (const StoredSection& section : stored.sections) {
        const u16 id = section.entry.id;
        const size_t before = ofOneId[id]++;
        names.push_back(section.section ? fmt::format("{}.csv", section.section->name)
                        : before == 0   ? fmt::format("section-{}.csv", id)
                                        : fmt::format("section-{}-{}.csv", id, before + 1));
        Add(names.back(), [&](Output& out) {
            if (section.section) {
                const Walk walk = WalkStored(reader, id, *MakeCsvRows(out, StoredForm(id), context));
                problems.insert(problems.end(), walk.problems.begin(), walk.problems.end());
            } else {
                out.Write(fmt::format("{}\r\n", kCsvRawColumn));
                writeHex(out, section.BodyOffset(), section.BodySize());
                out.Write("\r\n");
            }
        });
    }
    Add(kCsvDirectoryFile, [&](Output& out) {
        out.Write("id,file,before\r\n");
        for (size_t at = 0; at < names.size(); ++at) {
            const StoredSection& section = stored.sections[at];
            out.Write(fmt::format("{},{},", section.entry.id, names[at]));
            if (section.before > 0) {
                writeHex(out, section.entry.offset - section.before, section.before);
            }
            out.Write("\r\n");
        }
        if (!problems.empty() || !DirectoryProblems(reader.Directory()).empty()) {
            out.Write(fmt::format(",{},\r\n", kCsvDamaged));
        }
        if (stored.behind > 0) {
            out.Write(",,");
            writeHex(out, reader.Directory().fileSize - stored.behind, stored.behind);
            out.Write("\r\n");
        }
    });
    return problems;
}

void CsvFolder::TakePlace() {
    for (const auto& file : files) {
        file->Synchronize();
    }
    made = false;
    for (const auto& file : files) {
        file->Rename();
    }
    SynchronizeDirectory(path);
}

}  // namespace tvsym
