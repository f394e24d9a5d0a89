#pragma once

#include <limits>
#include <string>
#include <vector>

namespace deskphone {

/// Which of the steps that are played are shown: those that every part of it selects.
struct Selection {
    std::vector<std::string> lines = {};  // steps that touch one of them; empty: all
    int first = 1;                        // the steps' numbers
    int last = std::numeric_limits<int>::max();
    bool changes = false;   // steps that change a state, the lamp or a told value;
    bool warnings = false;  // steps with a warning or an error; with both, steps with either

    bool isAll() const
    {
        return lines.empty() && first == 1 && last == std::numeric_limits<int>::max() && !changes && !warnings;
    }
};

}  // namespace deskphone
