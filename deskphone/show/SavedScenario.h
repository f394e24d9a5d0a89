#pragma once

#include <fstream>
#include <string>

#include "scenario/ScenarioWriter.h"
#include "show/Show.h"

namespace deskphone {

/// Writes what was played as a scenario, so that it can be played again, whichever source it came from.
class SavedScenario : public Show {
public:
    /// Replaces the file's content; "-" is the standard output. Throws std::system_error, with the name, when it cannot
    /// be written.
    explicit SavedScenario(const std::string& name);

    void add(const Step& step) override;
    void addComments(const std::vector<std::string>& comments) override;
    void finish() override;
    void breakOff() override { finish(); }
    bool showsMachines() const override { return false; }

private:
    void check() const;

    const std::string m_name;
    std::ofstream m_file;
    std::ostream& m_output;
    ScenarioWriter m_writer;
};

}  // namespace deskphone
