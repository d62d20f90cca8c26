#include "tables/check/Check.h"

#include <algorithm>

#include "format/Sections.h"
#include "tables/check/SectionScan.h"

namespace torva::tables {

namespace {

constexpr u64 kEntrySize = 10;

// ---- the directory

void CheckEntry(const FileDirectory& directory, std::size_t at, Findings& findings) {
    const DirectoryEntry& entry = directory.entries[at];
    const u64 place = 2 + kEntrySize * at;
    Finding finding = {.section = entry.id, .offset = place, .found = entry.offset};
    if (!entry.firstOfId) {
        finding.fault = Fault::EntryRepeated;
    } else if (!entry.idAtStart) {
        finding.fault = Fault::OffsetPastEnd;
        finding.expected = directory.fileSize;
    } else if (*entry.idAtStart != entry.id) {
        finding = {.fault = Fault::WrongId,
                   .section = entry.id,
                   .offset = entry.offset,
                   .expected = entry.id,
                   .found = *entry.idAtStart};
    } else if (entry.End() > directory.fileSize && FindSection(entry.id)) {
        finding = {.fault = Fault::SectionCut,
                   .section = entry.id,
                   .offset = directory.fileSize,
                   .expected = entry.End(),
                   .found = entry.End() - directory.fileSize};
    } else {
        return;
    }
    findings.Add(std::move(finding));
}

void CheckDirectory(const FileDirectory& directory, Findings& findings) {
    if (directory.IsCut()) {
        findings.Add({.fault = Fault::DirectoryCut,
                      .offset = directory.fileSize,
                      .expected = directory.entryCount,
                      .found = directory.entries.size()});
    }
    for (std::size_t at = 0; at < directory.entries.size(); ++at) {
        CheckEntry(directory, at, findings);
    }
    for (Stretch& stretch : GapsAndOverlaps(directory)) {
        findings.Add({.fault = Fault::Stretch,
                      .offset = stretch.offset,
                      .found = stretch.size,
                      .text = std::move(stretch.what)});
    }
}

// ---- what readers get

void Mix(u64& digest, u64 number) { digest = HashStep(digest, number); }
void Mix(u64& digest, std::string_view text) { Mix(digest, std::hash<std::string_view>{}(text)); }

// Symbols are compared with their defaults; the rows that are counted are the own fields.
void ReadSymbols(Reader& reader, Reading& reading) {
    u64 ownFields = 0;
    SymbolCursor symbols = reader.Symbols();
    while (symbols.Next()) {
        Mix(reading.digest, symbols.Symbol().text);
        for (const SymbolField& field : symbols.Symbol().fields) {
            ownFields += field.isDefault ? 0 : 1;
            Mix(reading.digest,
                u64{field.id} << 16 | u64{field.tag} << 8 | (field.isDefault ? 1 : 0) | (field.cut ? 2 : 0));
            Mix(reading.digest, field.value);
        }
    }
    reading.walk = symbols.Result();
    if (reading.walk.present) {
        reading.walk.rows[1] = ownFields;
    }
}

void ReadRows(Reader& reader, u16 id, Reading& reading) {
    RowCursor rows = reader.Rows(id);
    while (rows.Next()) {
        Mix(reading.digest, rows.Level());
        for (const Cell& cell : rows.Cells()) {
            Mix(reading.digest, cell.number);
            Mix(reading.digest, cell.bytes);
            for (const u16 value : cell.list) Mix(reading.digest, value);
        }
    }
    reading.walk = rows.Result();
}

Readings ReadAll(const std::shared_ptr<const FileSource>& source, ReadMode mode, const CheckOptions& options,
                 bool& cancelled) {
    Readings readings;
    std::unique_ptr<Reader> reader;
    try {
        reader = std::make_unique<Reader>(
            source, ReaderOptions{mode, options.filter, options.progress, options.budget});
    } catch (const Error& error) {
        readings.refused = std::string(error.what()).substr(source->Name().size() + 2);  // without the file
        return readings;
    }
    for (const DirectoryEntry& entry : reader->Directory().entries) {
        if (!FindSection(entry.id) || readings.sections.contains(entry.id) || cancelled) {
            continue;
        }
        Reading& reading = readings.sections[entry.id];
        if (entry.id == 2) {
            ReadSymbols(*reader, reading);
        } else {
            ReadRows(*reader, entry.id, reading);
        }
        cancelled = reading.walk.cancelled;
    }
    return readings;
}

bool SameReading(const Reading& a, const Reading& b) {
    return a.walk.present == b.walk.present && a.walk.rows == b.walk.rows && a.walk.result == b.walk.result &&
           a.digest == b.digest;
}

// What the library delivered against what the scan found, and one read mode against the other.
void CompareReadings(CheckReport& report, bool filtered) {
    Findings& findings = report.findings;
    const auto& second = report.readings[1].sections;
    for (const auto& [id, reading] : report.readings[0].sections) {
        const auto other = second.find(id);
        if (other != second.end() && !SameReading(reading, other->second)) {
            findings.Add({.fault = Fault::ModesDiffer, .section = id});
        }
        const auto rows = report.scanned.find(id);
        const bool onlySymbols = filtered && id <= 2;  // whose fields are left out
        if (rows != report.scanned.end() && !findings.Has(id) &&
            (onlySymbols ? id == 2 && rows->second[0] != reading.walk.rows[0]
                         : rows->second != reading.walk.rows)) {
            findings.Add({.fault = Fault::ReadersDiffer, .section = id});
        }
        if (!findings.Has(id) && reading.walk.result != 0) {
            findings.Add({.fault = Fault::ReadersFail, .section = id});
        }
    }
    const bool both = report.readings[0].refused == report.readings[1].refused;
    for (std::size_t mode = 0; mode < 2; ++mode) {
        const std::string& refused = report.readings[mode].refused;
        if (!refused.empty() && (mode == 0 || !both)) {
            findings.Add({.fault = Fault::CannotOpen, .other = both ? 2 : mode, .text = refused});
        }
    }
}

}  // namespace

CheckReport Check(const std::shared_ptr<const FileSource>& source, TextCodec& codec,
                  const CheckOptions& options) {
    CheckReport report(options.limit);
    report.directory = FileDirectory::Read(*source);
    CheckDirectory(report.directory, report.findings);
    RawBytes bytes(*source);
    SectionScan scan({bytes, report.directory, codec, report.findings, options.progress});
    for (const DirectoryEntry& entry : report.directory.entries) {
        if (entry.Readable() && FindSection(entry.id) && !scan.Cancelled()) {
            report.scanned[entry.id] = scan.Scan(entry);
        }
    }
    report.cancelled = scan.Cancelled();
    constexpr ReadMode kModes[] = {ReadMode::File, ReadMode::Memory};
    for (std::size_t mode = 0; mode < 2 && !report.cancelled; ++mode) {
        report.readings[mode] = ReadAll(source, kModes[mode], options, report.cancelled);
    }
    if (!report.cancelled) {
        CompareReadings(report, !options.filter.empty());
    }
    return report;
}

}  // namespace torva::tables
