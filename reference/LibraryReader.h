// The library's operations on one handle, named like those of plain::PlainReader, so that one walk fits both.
#pragma once

#include <cstdint>

#include "TorvaAPI.h"

// X(name) for every export that takes a handle, but those that open and close and the progress.
#define TORVA_OPERATIONS(X)                   \
    X(GetExtendSectionList)                   \
    X(GetNextSymData)                         \
    X(GetAgainSymData)                        \
    X(GetNextJumpPriceGroup)                  \
    X(GetAgainJumpPriceData)                  \
    X(InitialSectionBorkerInfo)               \
    X(GetNextBrokerInfoGroup)                 \
    X(InitialSection6)                        \
    X(GetNextEidrQuickGroup)                  \
    X(InitialSection7)                        \
    X(GetNextEidrSectionGroup)                \
    X(GetNextSectionL2Group)                  \
    X(GetAgainSectionL2Data)                  \
    X(InitializeSection9)                     \
    X(GetNextFundCompanyGroup)                \
    X(InitializeSection10)                    \
    X(GetNextEidrCountryGroup)                \
    X(InitializeSection11)                    \
    X(GetNextSectionGroup)                    \
    X(InitializeSection12)                    \
    X(GetNextIssueCompanyGroup)               \
    X(InitialObjectSection)                   \
    X(GetNextObjectTypeID)                    \
    X(GetNextObjectSourceSym)                 \
    X(GetNextObjectSym)                       \
    X(GetNextObjectData)                      \
    X(InitialForeignTradeSection)             \
    X(GetNextForeignTradeHead)                \
    X(GetForeignTrade)                        \
    X(GetNextForeignTrade)                    \
    X(InitialGlobalRelatedSection)            \
    X(GetNextGlobalReleatedHead)              \
    X(GetGlobalReleated)                      \
    X(GetNextGlobalReleated)                  \
    X(InitialExchangeSection)                 \
    X(GetNextExchange)                        \
    X(InitialRealDelayMappingSection)         \
    X(GetNextRealDelayMapping)                \
    X(InitialLevel2EODBasicItemDefineSection) \
    X(GetNextLevel2EODBasicItemDefine)        \
    X(InitialFundMainNameSection)             \
    X(GetNextFundMainName)                    \
    X(InitialFuturesSectionV2)                \
    X(GetNextFuturesSectionV2)                \
    X(InitialExchangeSupportSection)          \
    X(GetNextExchangeSupportSection)          \
    X(InitialFuturesClassType)                \
    X(GetNextFuturesClassType)

namespace bench {

struct PlainCall {
    template <class Call>
    static auto Run(Call call) {
        return call();
    }
};

// `Frame::Run` makes each call.
template <class Frame>
struct LibraryReader {
    std::uint16_t handle;

    double GetSymDataProgress() const {
        return Frame::Run([&] { return tv_GetSymDataProgress(handle); });
    }
#define TORVA_FORWARD(name)                                                 \
    template <class... Arguments>                                           \
    auto name(Arguments... arguments) const {                               \
        return Frame::Run([&] { return tv_##name(handle, arguments...); }); \
    }
    TORVA_OPERATIONS(TORVA_FORWARD)
#undef TORVA_FORWARD
};

}  // namespace bench
