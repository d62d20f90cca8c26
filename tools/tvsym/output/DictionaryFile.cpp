#include "tools/tvsym/output/DictionaryFile.h"

#include <fmt/format.h>

#include <filesystem>

#include "tools/tvsym/input/SymbolFile.h"
#include "tools/tvsym/output/Json.h"
#include "tools/tvsym/output/Problems.h"
#include "tools/tvsym/output/Replacement.h"

namespace tvsym {

void WriteDictionary(const std::string& file, const symwrite::FieldDictionary& made) {
    const std::string path = Dictionary::PathBeside(file);
    std::error_code error;
    if (made.All().empty()) return;
    if (std::filesystem::exists(path, error)) {
        if (LoadDictionary("", file).All() != made.All()) {
            PrintError(fmt::format("tvsym: {}: is kept, though the source has another dictionary", path));
        }
        return;
    }
    Replacement replacement(path, "");
    Output out(replacement.Path(), path);
    JsonWriter json(out);
    json.Fields(made).EndLine();
    json.Flush();
    out.Close();
    replacement.TakePlace();
}

}  // namespace tvsym
