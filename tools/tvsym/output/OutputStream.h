// An Output as a stream, for what writes to streams.
#pragma once

#include <ostream>
#include <streambuf>

#include "tools/tvsym/output/Output.h"

namespace tvsym {

// The output's exceptions pass through and say what went wrong.
class OutputStream : public std::ostream {
public:
    explicit OutputStream(Output& target) : std::ostream(nullptr), buffer(target) {
        rdbuf(&buffer);
        exceptions(std::ios::badbit);
    }

private:
    class Buffer : public std::streambuf {
    public:
        explicit Buffer(Output& target) : output(target) {}

    private:
        std::streamsize xsputn(const char* bytes, std::streamsize size) override {
            output.Write(std::string_view(bytes, static_cast<size_t>(size)));
            return size;
        }
        int_type overflow(int_type character) override {
            if (character != traits_type::eof()) {
                const char byte = traits_type::to_char_type(character);
                output.Write(std::string_view(&byte, 1));
            }
            return traits_type::not_eof(character);
        }

        Output& output;
    };

    Buffer buffer;
};

}  // namespace tvsym
