#pragma once

#include "telephone/Step.h"

namespace deskphone {

/// Follows the lines of a source through its blocks of commands that are given at once.
class Blocks {
public:
    static constexpr const char* BEGIN = "at-once";
    static constexpr const char* END = "end";

    /// Whether the words begin or end a block. If not, they are a command, whose place is set. Throws Mistake where a
    /// block cannot begin or end.
    bool take(Given& command);
    bool isOpen() const { return m_place != Block::NONE; }

private:
    Block m_place = Block::NONE;  // of the next command
};

}  // namespace deskphone
