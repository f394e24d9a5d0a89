#pragma once

#include <array>
#include <fstream>
#include <string>
#include <vector>

#include "show/Sequence.h"
#include "show/Show.h"
#include "show/Situation.h"

namespace deskphone {

/// Writes a run as Mermaid sequence charts into a Markdown file, up to date after every step, or to the standard
/// output, chart by chart.
///
/// A run of many steps is cut into several charts: between two steps where a chart has become long enough to be read at
/// once, and within a step where the usual viewers would refuse to draw it. Each chart begins with what holds then.
class Chart : public Show {
public:
    /// "-" is the standard output; a file is emptied. That there are more charts than anybody reads is said on
    /// `notices`, which is not owned. Throws std::system_error, as add() does, when it cannot be
    /// written.
    Chart(const std::string& file, std::ostream& notices);

    void add(const Step& step) override;
    void addComments(const std::vector<std::string>& comments) override;
    void passOver(const Step& step) override { m_situation.add(step); }
    void finish() override;
    void breakOff() override { finish(); }

private:
    void addRow(const Step& step, const std::string& row);
    void begin(const Step& step);
    void addComments(const Step& step);
    void addHeading(const Step& step, const std::string& text);
    void show(const Step& step, const Happening& happening);
    void cut();
    bool isOnOutput() const { return m_name == "-"; }
    std::string drawn() const;
    void write();

    const std::string m_name;
    std::ostream& m_notices;
    int m_charts = 1;
    std::ofstream m_file;
    std::streampos m_start = 0;  // of the chart that is being drawn
    std::string m_title;         // of that chart; one that is alone has none
    int m_firstStep = 1;
    int m_lastStep = 1;
    std::string m_body;      // its rows
    std::size_t m_rows = 0;  // in the body
    std::array<bool, NUMBER_OF_PARTIES> m_takesPart{};
    RecordThread m_thread = CALLER;  // of the last row
    bool m_lampOn = false;
    Situation m_situation;
};

}  // namespace deskphone
