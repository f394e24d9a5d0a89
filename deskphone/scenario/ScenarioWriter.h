#pragma once

#include <string>
#include <vector>

#include "telephone/Step.h"

namespace deskphone {

/// Writes steps as they stand in a scenario: the comments, a line each, and the command. Read again, it gives the same
/// words, whatever bytes they hold.
class ScenarioWriter {
public:
    /// What the step adds to the text.
    std::string add(const Step& step);
    /// What is missing from the text so far: the end of a block.
    std::string rest() const;
    /// Adds that, and comments behind it.
    std::string end(const std::vector<std::string>& comments);

private:
    bool m_inBlock = false;
};

/// What was played so far, as a scenario.
class Story {
public:
    void add(const Step& step) { m_text += m_writer.add(step); }
    std::string text() const { return m_text + m_writer.rest(); }

private:
    ScenarioWriter m_writer;
    std::string m_text;
};

}  // namespace deskphone
