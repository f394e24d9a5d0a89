#pragma once

#include "show/Reached.h"
#include "show/Screen.h"
#include "show/Show.h"

namespace deskphone {

/// Every transition and action of the plug-in's tables with how often it was reached, at the end of the run.
class Coverage : public Show {
public:
    explicit Coverage(const Screen& screen) : m_screen(screen) {}

    void add(const Step& step) override { m_reached.add(step); }
    void finish() override;

private:
    const Screen m_screen;
    Reached m_reached;
};

}  // namespace deskphone
