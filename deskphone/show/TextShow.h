#pragma once

#include <string>

#include "show/Screen.h"
#include "show/Show.h"

namespace deskphone {

std::string asText(const Value& value);
std::string asText(const Call& call);

/// For people: each command, then what it caused, thread by thread.
class TextShow : public Show {
public:
    explicit TextShow(const Screen& screen) : m_screen(screen) {}

    void add(const Step& step) override;
    void addComments(const std::vector<std::string>& comments) override;

private:
    std::string column(const std::string& text, const std::string& colour, std::size_t width) const;
    std::string row(const std::string& head, const std::string& colour, const std::string& text) const;

    const Screen m_screen;
};

}  // namespace deskphone
