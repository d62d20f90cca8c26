// The walks of SectionWalks.h through the C++ header, with the same deliveries to the sink.
#pragma once

#include <string>

#include "TorvaAPI.hpp"
#include "bench/SectionWalks.h"

namespace bench {

class HppFile {
public:
    explicit HppFile(const std::string& path, bool wholeFile = true) {
        tvapi::OpenOptions how;
        how.wholeFile = wholeFile;
        file = tvapi::File(path, how);
    }
    tvapi::File& File() { return file; }

    template <class Sink>
    void Walk(std::uint16_t section, Sink& sink) {
        switch (section) {
            case 2:
                return WalkSymbols(sink);
            case 3:
                for (const auto& group : file.jumpPrices()) {
                    sink.Number(group.id);
                    sink.Bytes(group.records.data(), sizeof(JumpPriceRecord) * group.records.size());
                    sink.Elements(group.records.size());
                }
                return;
            case 4:
                for (const auto& records : file.brokerInfo()) {
                    sink.Bytes(records.data(), sizeof(BrokerInfoRecord) * records.size());
                    sink.Elements(records.size());
                }
                return;
            case 6:
                for (const auto& field : file.eidrQuickFields()) {
                    sink.Text(field.group().c_str());
                    sink.Number(field.id());
                    sink.Number(field.tag());
                    sink.Bytes(field.value().data(), field.tag() == 7 ? field.size() + 1 : field.size());
                    sink.Elements(1);
                }
                return;
            case 7:
                return WalkTwoTexts(sink, file.eidrSections());
            case 8:
                return WalkLevel2(sink);
            case 9:
                return WalkDirectory(sink, file.fundCompanies());
            case 10:
                return WalkDirectory(sink, file.eidrCountries());
            case 11:
                for (const auto& group : file.sectionGroups()) {
                    sink.Number(group.id);
                    sink.Bytes(group.members.data(), group.members.size());
                    sink.Elements(group.members.size());
                }
                return;
            case 12:
                return WalkDirectory(sink, file.issueCompanies());
            case 13:
                return WalkObjects(sink);
            case 14:
                return WalkForeignTrade(sink);
            case 15:
                return WalkGlobalRelated(sink);
            case 16:
                return WalkTwoTexts(sink, file.exchanges());
            case 17:
                for (const auto& pair : file.realDelayMapping()) {
                    sink.Number(pair.first);
                    sink.Number(pair.second);
                    sink.Elements(1);
                }
                return;
            case 18:
                for (const auto& define : file.level2EodBasicItemDefines()) {
                    sink.Number(define.id);
                    sink.Bytes(define.first.data(), define.first.size() * 2U);
                    sink.Bytes(define.second.data(), define.second.size() * 2U);
                    sink.Bytes(define.third.data(), define.third.size() * 2U);
                    sink.Elements(1);
                }
                return;
            case 19:
                return WalkDirectory(sink, file.fundMainNames());
            case 20:
                return WalkDirectory(sink, file.futuresSectionsV2());
            case 21:
                for (const auto& support : file.exchangeSupport()) {
                    sink.Number(support.id);
                    sink.Bytes(support.values.data(), support.values.size() * 2U);
                    sink.Elements(1);
                }
                return;
            case 22:
                return WalkDirectory(sink, file.futuresClassTypes());
            default:
                return;
        }
    }

private:
    template <class Sink>
    void WalkSymbols(Sink& sink) {
        for (const auto& symbol : file.symbols()) {
            sink.Text(symbol.text().c_str());
            for (const auto field : symbol.fields()) sink.Field(field.id(), field.tag(), field.data());
            sink.Elements(symbol.fields().size());
        }
    }
    template <class Sink, class Range>
    void WalkDirectory(Sink& sink, Range&& range) {
        for (const auto& entry : range) {
            sink.Number(entry.id);
            sink.Text(entry.name.c_str());
            sink.Elements(1);
        }
    }
    template <class Sink, class Range>
    void WalkTwoTexts(Sink& sink, Range&& range) {
        for (const auto& element : range) {
            sink.Bytes(&element.id, 2);
            sink.Text(element.text1.c_str());
            sink.Text(element.text2.c_str());
            sink.Elements(1);
        }
    }
    template <class Sink>
    void WalkLevel2(Sink& sink) {
        bool goesOn = false;
        for (const auto& group : file.sectionsL2()) {
            if (!goesOn) sink.Number(group.id);
            for (const auto& item : group.items) {
                sink.Bytes(&item.leadByte, 1);
                sink.Text(item.text1);
                sink.Text(item.text2);
            }
            sink.Elements(group.items.size());
            goesOn = group.more;
        }
    }
    template <class Sink>
    void WalkObjects(Sink& sink) {
        for (const auto& type : file.objectTypes(tvapi::UpperTexts::borrowed)) {
            sink.Number(type.id);
            for (const auto& source : type.sources()) {
                sink.Text(source.text.c_str());
                for (const auto& symbol : source.symbols()) {
                    sink.Number(symbol.byte);
                    sink.Text(symbol.text.c_str());
                    for (const auto& data : symbol.data()) {
                        sink.Number(data.byte);
                        sink.Text(data.text.c_str());
                        sink.Elements(1);
                    }
                }
            }
        }
    }
    template <class Sink>
    void WalkForeignTrade(Sink& sink) {
        for (const auto& head : file.foreignTrade(tvapi::UpperTexts::borrowed)) {
            sink.Number(head.id);
            sink.Text(head.name.c_str());
            bool goesOn = false;
            for (const auto& item : head.items()) {
                if (!goesOn) sink.Number(item.tag);
                goesOn = item.more;
                for (const char* const name : item.names) sink.Text(name);
                sink.Elements(item.names.size());
            }
        }
    }
    template <class Sink>
    void WalkGlobalRelated(Sink& sink) {
        for (const auto& head : file.globalRelated()) {
            sink.Number(head.id);
            for (const auto& list : head.lists()) {
                for (const auto& item : list.items) {
                    sink.Bytes(&item.tag, 1);
                    sink.Text(item.name);
                }
                sink.Elements(list.items.size());
            }
        }
    }

    tvapi::File file;
};

}  // namespace bench
