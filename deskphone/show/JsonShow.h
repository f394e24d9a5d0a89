#pragma once

#include "show/Screen.h"
#include "show/Show.h"

namespace deskphone {

/// For programs: one JSON object a line.
class JsonShow : public Show {
public:
    explicit JsonShow(const Screen& screen) : m_screen(screen) {}

    void add(const Step& step) override;
    bool showsMachines() const override { return false; }

private:
    const Screen m_screen;
};

}  // namespace deskphone
