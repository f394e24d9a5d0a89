#pragma once

#include <array>
#include <cstddef>
#include <ostream>
#include <string>

#include "telephone/Step.h"

namespace deskphone {

/// Colours of a terminal, as parameters of its escape sequence; "" is none.
constexpr std::array<const char*, NUMBER_OF_THREADS> threadColours{"36", "35", "34"};

/// Where a show prints. The stream is not owned.
struct Screen {
    std::ostream& stream;
    bool coloured;
    std::size_t width;  // in columns

    /// Throws std::system_error when that fails.
    void print(const std::string& text) const;
    /// The text in this colour, where there are colours.
    std::string painted(const std::string& text, const std::string& colour) const;
};

/// Coloured on a terminal and as wide as that; without a terminal as wide as $COLUMNS says.
Screen standardOutput();

}  // namespace deskphone
