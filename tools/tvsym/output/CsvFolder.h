// A folder of CSV files that represents a whole symbol file: a file for each section, named after it, and
// directory.csv, which lists these files in order, with the bytes between them.
//
//   id,file,before
//   2,symbols.csv,
//   5,section-5.csv,aabbcc     before: bytes of no section before this one, as hex
//   ,,ff                       without a file: the bytes at the symbol file's end
//   ,damaged,                  the symbol file was damaged: what the files hold is not all of it
//
// Where a section has a head value, a count, or a size in the directory, that does not follow from its
// elements, there are three columns more: head,count,size.
//
// A section without a reader has one column, "bytes", and one row: the bytes after its id, as hex.
#pragma once

#include "tools/tvsym/Tool.h"
#include "tools/tvsym/output/Replacement.h"
#include "tools/tvsym/output/StoredSections.h"

namespace tvsym {

constexpr const char* kCsvDirectoryFile = "directory.csv";
constexpr const char* kCsvRawColumn = "bytes";
constexpr const char* kCsvDamaged = "damaged";
constexpr const char* kCsvDictionary = "fields.json";  // there where the file has a dictionary
constexpr const char* kWideFile = "symbols-wide.csv";  // written by export, like the load scripts

// A folder that is being filled. All files are put in place at the end, so that a failure leaves the old
// ones.
class CsvFolder {
public:
    // Creates the folder if needed; throws ToolError with kExitUnreadable. `sourceFile` is the file that is
    // read; it is never overwritten.
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

    // Adds the files of all sections, or of those in `wanted`, and directory.csv. Returns their problems.
    std::vector<Problem> AddSections(Reader& reader, const RowContext& context,
                                     const std::vector<u16>& wanted);

    void TakePlace();

private:
    Output Begin(const std::string& name);
    void RemoveOld() const;

    std::string path;
    std::string source;
    bool made = false;  // by this object, which removes it unless TakePlace was called
    std::vector<std::unique_ptr<Replacement>> files;
};

}  // namespace tvsym
