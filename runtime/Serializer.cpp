#include "Serializer.h"

#include <algorithm>
#include <charconv>

// The serialised form of a string is its length in bytes as a decimal number, a colon, and its bytes.
bool Serializer::deserialize(std::string& in, std::string& out, bool /*unused*/)
{
    const std::size_t colon = in.find(':');
    if (colon == std::string::npos || colon == 0 ||
        !std::all_of(in.begin(), in.begin() + static_cast<std::ptrdiff_t>(colon),
                     [](char c) { return c >= '0' && c <= '9'; })) {
        return false;
    }
    std::size_t length = 0;
    const auto [end, error] = std::from_chars(in.data(), in.data() + colon, length);
    if (error != std::errc{} || length != in.size() - colon - 1) {
        return false;
    }
    out = in.substr(colon + 1);
    return true;
}
