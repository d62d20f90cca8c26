// tvsym apply: the new file, from the old one and what diff --format patch wrote.
#include <fmt/format.h>

#include "tables/check/Wording.h"
#include "tools/tvsym/commands/Change.h"
#include "tools/tvsym/commands/Commands.h"
#include "tools/tvsym/input/JsonSource.h"
#include "tools/tvsym/input/SymbolFile.h"
#include "tools/tvsym/output/Patch.h"
#include "tools/tvsym/output/Replacement.h"

namespace tvsym {

namespace {

struct ApplyOptions : ChangeOptions {
    std::string patch;
};

int RunApply(const ApplyOptions& options) {
    const ChangeTarget target = options.Target();
    if (options.file == "-" && options.patch == "-") {
        throw ToolError(kExitUsage, "only one of FILE and PATCH can be the standard input");
    }
    const std::shared_ptr<const FileSource> old = OpenSource(options.file);
    u64 size = 0;
    const auto apply = [&](const std::function<void(std::string_view)>& sink) {
        WithSource(options.patch, [&](std::istream& in) {
            ApplyPatch(*old, in, SourceName(options.patch), [&](std::string_view bytes) {
                size += bytes.size();
                sink(bytes);
            });
        });
    };
    if (target.dryRun) {
        apply([](std::string_view) {});
    } else if (target.path == "-") {
        Output out;
        apply([&](std::string_view bytes) { out.Write(bytes); });
        out.Close();
    } else {
        Replacement::RefuseSource(target.path, options.patch);
        Replacement replacement(target.path, target.inPlace ? std::string() : target.source);
        Output out(replacement.Path(), target.path);
        apply([&](std::string_view bytes) { out.Write(bytes); });
        out.Close();
        replacement.TakePlace();
    }
    ReportChange(
        target, fmt::format("{} of {} became {}", Counted(old->Size(), "bytes"), old->Name(), Grouped(size)));
    return kExitOk;
}

}  // namespace

RunCommand AddApply(CLI::App& app) {
    auto options = std::make_shared<ApplyOptions>();
    AddArgument(app, "FILE", options->file, "the old symbol file; - reads the standard input");
    AddArgument(app, "PATCH", options->patch, "what diff --format patch wrote; - reads the standard input");
    AddTarget(app, *options);
    return [options] { return RunApply(*options); };
}

}  // namespace tvsym
