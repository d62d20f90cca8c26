#include "tables/columns/FileStream.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tables/columns/ArrowExport.h"

namespace torva::tables::columns {
namespace {

// The file is read twice: once for the types that its columns get, and once for their values. Both passes
// load the same batches.
class FileStream {
public:
    FileStream(std::unique_ptr<platform::File> file, std::string fileName, LoadOptions loadOptions)
        : source(std::move(file)),
          name(std::move(fileName)),
          options(std::move(loadOptions)),
          stream(Stream::Open(source)) {
        options.dictionaries = false;
        LearnTypes();
        Rewind();
    }

    int Schema(ArrowSchema* to) {
        return Run([&] { ExportSchema(*schema, Form::flat, to); });
    }

    // An array without a release function at the end.
    int Next(ArrowArray* to) {
        *to = {};
        return Run([&] {
            if (failed) throw LoadError{EIO, loader->Broken().message};
            const auto batch = std::make_shared<Batch>(NextBatch());
            if (batch->rows > 0) {
                if (!SameSchema(*batch, *schema)) throw LoadError{EIO, "the file changed while it was read"};
                ExportArray(batch, 0, batch->rows, Form::flat, to);
            } else if (loader->Broken().code != 0) {
                failed = true;
                throw LoadError{EIO, loader->Broken().message};
            }
        });
    }

    const char* LastError() const { return lastError.c_str(); }

    // Where the first pass ended.
    const Damage& End() const { return end; }

private:
    template <class Operation>
    int Run(Operation operation) noexcept {
        try {
            lastError.clear();
            operation();
            return 0;
        } catch (const LoadError& error) {
            SetError(error.message);
            return EIO;
        } catch (const LimitError&) {
            SetError("a batch would take more memory than the limit");
            return ENOMEM;
        } catch (...) {
            SetError("out of memory");
            return ENOMEM;
        }
    }

    void SetError(std::string_view what) noexcept {
        try {
            lastError = name;
            lastError.append(": ").append(what);
        } catch (...) {
            lastError.clear();
        }
    }

    void Rewind() {
        budget = std::make_unique<Budget>(MemoryLimit(source.Size(), options));
        loader = std::make_unique<ColumnLoader>(stream, options, budget.get(), known, options.firstRecord);
        loader->StopAt(options.endRecord);
        feeder = std::make_unique<Feeder>(source, stream.offset + options.firstRecord);
    }

    Batch NextBatch() {
        Batch batch;
        feeder->Run(*loader, options.batchRows);
        batch.rows = loader->Rows();
        known = loader->Known();
        batch.columns = loader->Finish();
        for (Column& column : batch.columns) column.Detach();
        loader->Restart(known);
        return batch;
    }

    // A column that holds anything else than UTF-8 in one batch is binary in all of them.
    void LearnTypes() {
        Rewind();
        schema = std::make_unique<Batch>(NextBatch());
        std::vector<bool> binary(65536);
        const auto note = [&](const Batch& batch) {
            for (const Column& column : batch.columns) {
                if (column.type == TVT_BINARY && &column != &batch.columns.front()) binary[column.id] = true;
                if (column.type == TVT_BINARY && &column == &batch.columns.front())
                    options.binarySymbols = true;
            }
        };
        note(*schema);
        while (!loader->Done() && !loader->Stopped()) note(NextBatch());
        end = loader->Broken();
        for (ColumnSpec& spec : known) spec.binary = spec.binary || binary[spec.id];
        LoadOptions none = options;
        ColumnLoader empty(stream, none, budget.get(), known, 2);
        schema->columns = empty.Finish();
        for (Column& column : schema->columns) column.Detach();
    }

    const Source source;
    const std::string name;
    LoadOptions options;
    const Stream stream;
    std::vector<ColumnSpec> known;
    std::unique_ptr<Budget> budget;
    std::unique_ptr<ColumnLoader> loader;
    std::unique_ptr<Feeder> feeder;
    std::unique_ptr<Batch> schema;  // without rows
    Damage end;
    bool failed = false;
    std::string lastError;
};

FileStream& Of(ArrowArrayStream* stream) { return *static_cast<FileStream*>(stream->private_data); }

}  // namespace

Damage OpenFileStream(std::unique_ptr<platform::File> file, std::string name, LoadOptions options,
                      ArrowArrayStream* stream) {
    auto opened = std::make_unique<FileStream>(std::move(file), std::move(name), std::move(options));
    Damage end = opened->End();
    stream->private_data = opened.release();
    stream->get_schema = [](ArrowArrayStream* self, ArrowSchema* schema) { return Of(self).Schema(schema); };
    stream->get_next = [](ArrowArrayStream* self, ArrowArray* array) { return Of(self).Next(array); };
    stream->get_last_error = [](ArrowArrayStream* self) { return Of(self).LastError(); };
    stream->release = [](ArrowArrayStream* self) {
        delete &Of(self);
        self->release = nullptr;
    };
    return end;
}

std::vector<u64> CutRecords(const Source& source, u64 partBytes) {
    const Stream stream = Stream::Open(source);
    std::vector<u64> cuts;
    if (!stream.found) return cuts;
    constexpr u32 kWindow = 256 * 1024;
    std::vector<u8> window(kWindow);
    u64 windowAt = 0;
    u32 held = 0;
    const u64 end = std::min<u64>(stream.size, source.Size() - std::min(source.Size(), stream.offset));
    u64 part = 2;
    for (u64 at = part; at < end && end - at > sizeof(u32);) {
        if (at - part >= partBytes) cuts.push_back(part = at);
        if (at < windowAt || at + sizeof(u32) > windowAt + held) {
            windowAt = at;
            if (!source.Read(stream.offset + at, window.data(), kWindow, held)) {
                throw LoadError{TVT_ERR_OPEN, "the records cannot be read"};
            }
            if (held < sizeof(u32)) break;
        }
        u32 recordSize = 0;
        std::memcpy(&recordSize, window.data() + (at - windowAt), sizeof recordSize);
        at += sizeof recordSize + u64{recordSize};
    }
    return cuts;
}

}  // namespace torva::tables::columns
