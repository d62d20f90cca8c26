// TorvaAPI for C++ hosts: header only, C++17 and above, over the C interface of TorvaAPI.h.
//
//     tvapi::File file("market.sym");
//     for (auto& symbol : file.symbols()) {
//         for (auto field : symbol.fields()) print(symbol.text(), field.id(), field.text());
//     }
//     if (file.has(10)) {
//         for (auto& country : file.eidrCountries()) print(country.id, country.name);
//     }
//
// A File closes itself, values free themselves, and each section is an input range. docs/cpp.md shows
// complete programs: lookup tables, pipelines, nested sections, errors without exceptions.
//
// Lifetimes: what an element refers to (texts, records, values) is good until its range's next step or its
// end. Elements cannot be copied, so that none is stored by accident: keep a std::string(symbol.text()), a
// value with Field::take, a symbol with OwnedSymbol. A range may outlive its File and finds it closed then.
//
// One place per file: beginning a range takes the place from every other range of the same File; those of
// level2EodBasicItemDefines() and exchangeSupport() continue, since they are read whole when they begin. A
// range that lost its place ends with kErrLostPlace at its next step. To look something up while walking,
// read the small table first. Lower levels of nested sections may be left early; begun again, they continue
// where they were left.
//
// symbols(), jumpPrices() and sectionsL2() begin again by way of another section. In a file that has none the
// second walk ends with kErrNoRestart; open the file again for it.
//
// Errors: a range that meets one throws Error, at begin() or at the step to the next element. In a build
// without exceptions, or with TORVA_NO_EXCEPTIONS defined, the range ends instead; its result() and, also
// when the range is gone, the file's error() and message() say why. Elements before the damage are
// delivered first; of the element that broke off, broken() shows what came.
#pragma once

// In the order in which they build on each other.
// clang-format off
#include "TorvaAPI.h"
#include "TorvaValues.h"
#include "TorvaFwd.hpp"
#include "torva/codes.hpp"
#include "torva/error.hpp"
#include "torva/memory.hpp"
#include "torva/list.hpp"
#include "torva/text.hpp"
#include "torva/value.hpp"
#include "torva/field.hpp"
#include "torva/symbol.hpp"
#include "torva/look.hpp"
#include "torva/state.hpp"
#include "torva/range.hpp"
#include "torva/symbols.hpp"
#include "torva/tables.hpp"
#include "torva/texts.hpp"
#include "torva/nested.hpp"
#include "torva/file.hpp"
#include "torva/format.hpp"
// clang-format on
