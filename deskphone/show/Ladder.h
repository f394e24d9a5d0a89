#pragma once

#include <string>
#include <vector>

#include "scenario/Words.h"
#include "show/Screen.h"
#include "show/Show.h"

namespace deskphone {

struct Happening;

/// For people: the run as a ladder of arrows between the telephone's services, as wide as the screen. What is too long
/// for a row goes on in the next. The lamp's column is a thick line while the lamp is on.
class Ladder : public Show {
public:
    explicit Ladder(const Screen& screen);

    void add(const Step& step) override;
    void addComments(const std::vector<std::string>& comments) override;

private:
    struct Painted {
        std::size_t first;
        std::size_t last;
        const char* colour;
    };
    struct Row {
        Characters cells;  // by column of the screen
        std::vector<Painted> painted = {};
    };

    std::string drawn(const Happening& happening);
    Row blankRow() const { return {Characters(m_screen.width, " ")}; }
    Row emptyRow() const;
    static void write(Row& row, std::size_t at, const Characters& characters, const char* colour);
    std::string acrossColumns(const std::string& text, const char* colour);
    std::string written(Row row, std::size_t at, const std::string& text, const char* colour);
    std::string finished(const Row& row);

    const Screen m_screen;
    std::vector<std::size_t> m_columns;  // of the parties
    bool m_lampOn = false;
    std::size_t m_rows = 0;  // since the last header
};

}  // namespace deskphone
