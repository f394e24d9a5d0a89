#pragma once

#include <string>
#include <vector>

#include "show/Screen.h"
#include "show/Show.h"

namespace deskphone {

struct Happening;

/// For people: the run as a ladder of arrows between the telephone's services, as wide as the screen. What is too long
/// for it is cut. The lamp's column is a thick line while the lamp is on.
class Ladder : public Show {
public:
    explicit Ladder(const Screen& screen);

    void add(const Step& step) override;

private:
    using Row = std::vector<std::string>;  // by column of the screen

    std::string drawn(const Happening& happening);
    Row emptyRow() const;
    void write(Row& row, std::size_t at, const Words& characters, const std::string& colour) const;
    std::string written(Row row, std::size_t at, const std::string& text, const std::string& colour);
    std::string finished(const Row& row);

    const Screen m_screen;
    std::vector<std::size_t> m_columns;  // of the parties
    bool m_lampOn = false;
    std::size_t m_rows = 0;  // since the last header
};

}  // namespace deskphone
