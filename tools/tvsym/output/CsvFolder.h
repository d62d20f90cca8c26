// A folder of CSV files that stands for a whole symbol file: a file for each section, named like it, and
// directory.csv, which tells which files make the symbol file, in what order, and what lies between them.
//
//   id,file,before
//   2,symbols.csv,
//   5,section-5.csv,aabbcc     before: bytes of no section ahead of this one, as hex
//   ,,ff                       without a file: the bytes at the symbol file's end
//
// A section that no reader delivers has one column, "bytes", and one row: what stands behind its id, as hex.
#pragma once

#include "tools/tvsym/Tool.h"
#include "tools/tvsym/output/Replacement.h"
#include "tools/tvsym/output/StoredSections.h"

namespace tvsym {

constexpr const char* kCsvDirectoryFile = "directory.csv";
constexpr const char* kCsvRawColumn = "bytes";

// A folder that is being filled. All files take their places at the end, so that a failure leaves what was
// there.
class CsvFolder {
public:
    // Makes the folder where it is not there; throws ToolError with kExitUnreadable. `sourceFile` is what is
    // read, and not to be written over.
    CsvFolder(std::string folderPath, std::string sourceFile);
    ~CsvFolder();
    CsvFolder(const CsvFolder&) = delete;
    CsvFolder& operator=(const CsvFolder&) = delete;

    // Calls `write` with a new file of that name.
    template <typename Write>
    void Add(const std::string& name, const Write& write) {
        Output out = Begin(name);
        write(out);
        out.Close();
    }

    // Adds the files of all sections, or of those in `wanted`, and directory.csv. Gives what is wrong in
    // them.
    std::vector<Problem> AddSections(Reader& reader, const RowContext& context,
                                     const std::vector<u16>& wanted);

    void TakePlace();

private:
    Output Begin(const std::string& name);

    std::string path;
    std::string source;
    bool made = false;  // by this object, and to go away with it
    std::vector<std::unique_ptr<Replacement>> files;
};

}  // namespace tvsym
