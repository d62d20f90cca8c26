// The loop over the fields of a record, for everybody who reads symbols: the exports, which copy each value
// to a heap block, and the tables, which store it in a column.
#pragma once

#include <bit>
#include <cstring>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "format/Fields.h"
#include "format/Types.h"

namespace torva {

// The first zero byte of `from` to `end`, null if there is none. Most texts are short: their first bytes
// are compared at once, without a branch for each length; only longer ones go to the C library.
inline const u8* FindTextEnd(const u8* from, const u8* end) {
#ifdef __SSE2__
    if (end - from >= 32) {
        const auto zerosAt = [](const u8* at) {
            const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
            return static_cast<u32>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_setzero_si128())));
        };
        const u32 zeros = zerosAt(from) | zerosAt(from + 16) << 16U;
        if (zeros != 0) return from + std::countr_zero(zeros);
        from += 32;
    }
#endif
    return static_cast<const u8*>(std::memchr(from, 0, static_cast<std::size_t>(end - from)));
}

// Hands the fields that begin at `next` and up to `lastStart` to the sink, for as long as it takes them.
// After `lastStart` there are kMostFixedField bytes up to `end`, where the bytes end that may be read.
// Returns where the first field begins that was not taken: after the last, at one that the sink refused, or
// at a text without a zero byte.
//
// bool Sink::Full(): true where the sink takes no more fields.
// const u8* Sink::TextLimit(const u8* text, const u8* end): where a text must have ended that the sink takes.
// bool Sink::Take(u16 id, u8 tag, const u8* payload, u32 size): false to be asked again later. `size` is that
// of the payload, for a text with its zero byte. In line, so that what the sink counts is in registers. From
// `payload` on there are kMostPayload readable bytes.
template <class Sink>
[[gnu::always_inline]] inline const u8* DeliverFields(const u8* next, const u8* lastStart, const u8* end,
                                                      Sink& sink) {
    while (next <= lastStart && !sink.Full()) {
        FieldHeader header;
        std::memcpy(&header, next, sizeof header);
        const u8* const payload = next + sizeof header;
        u32 size = PayloadWidth(header.tag);
        if (header.tag == kTextTag) {
            const u8* const zero = FindTextEnd(payload, sink.TextLimit(payload, end));
            if (zero == nullptr) break;
            size = static_cast<u32>(zero - payload) + 1;
        }
        if (!sink.Take(header.id, header.tag, payload, size)) break;
        next = payload + size;
    }
    return next;
}

}  // namespace torva
