#pragma once

#include <fstream>
#include <ostream>
#include <string>

#include "show/Sequence.h"
#include "show/Show.h"
#include "show/Situation.h"

namespace deskphone {

/// Draws a run as a sequence chart in SVG, which any browser shows, up to date after every step.
///
/// A run of many steps goes on in further pictures: FILE-2.svg after FILE.svg, and so on. Their number is limited; each
/// picture tells at its end where the run goes on, and the end of the run tells on `notices` what was drawn where.
class Picture : public Show {
public:
    /// Empties the file. Throws std::system_error, as add() does, when it cannot be written. The notices are not owned.
    Picture(std::string file, std::ostream& notices);

    void add(const Step& step) override;
    void addComments(const std::vector<std::string>& comments) override;
    void passOver(const Step& step) override { m_situation.add(step); }
    void finish() override;
    void breakOff() override { finish(); }

private:
    void open();
    bool turn(const Step& step);
    void begin(const Step& step);
    void drawHeader();
    void drawComments(const std::vector<std::string>& comments);
    void drawHeading(const std::string& text);
    void draw(const Happening& happening);
    void drawArrow(const Happening& happening);
    void drawNote(const Happening& happening);
    void drawLines(const std::string& text, int left, const char* kind);
    void setLamp(bool on);
    std::string lampSoFar() const;
    void write();
    std::string nameOf(int picture) const;

    const std::string m_name;  // without the .svg at its end
    std::ostream& m_notices;
    std::ofstream m_file;
    int m_picture = 1;                          // the number of the one that is being drawn
    bool m_full = false;                        // there are no more
    std::streampos m_end = 0;                   // of the rows in the file
    std::string m_rows;                         // those that are not yet there
    int m_y = 0;                                // below the last row, in pixels, as the places below
    int m_headerY = 0;                          // of the last header
    int m_firstStep = 0;                        // in the picture; 0: none yet
    int m_lastDrawn = 0;                        // step in any picture
    int m_endOfFirst = 0;                       // the last step in the first picture
    RecordThread m_thread = NUMBER_OF_THREADS;  // of the last row in the step
    bool m_lampOn = false;
    int m_lampFrom = 0;  // where it went on
    Situation m_situation;
};

}  // namespace deskphone
