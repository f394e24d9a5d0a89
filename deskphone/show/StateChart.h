#pragma once

#include "show/Reached.h"
#include "show/Screen.h"
#include "show/Show.h"

namespace deskphone {

/// The plug-in's state machine as a Mermaid state diagram, at the end of the run; the transitions that were made are
/// marked with how often.
class StateChart : public Show {
public:
    explicit StateChart(const Screen& screen) : m_screen(screen) {}

    void add(const Step& step) override { m_reached.add(step); }
    void finish() override;

private:
    const Screen m_screen;
    Reached m_reached;
};

}  // namespace deskphone
