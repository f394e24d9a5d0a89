#pragma once

#include "show/Screen.h"
#include "show/Show.h"

namespace deskphone {

/// For programs: one JSON object a line. What the machines do and changes of the lamp are told only when asked for.
class JsonShow : public Show {
public:
    JsonShow(const Screen& screen, bool showsStates) : m_screen(screen), m_showsStates(showsStates) {}

    void add(const Step& step) override;
    bool showsMachines() const override { return m_showsStates; }

private:
    const Screen m_screen;
    const bool m_showsStates;
};

}  // namespace deskphone
