#pragma once

#include <memory>
#include <sstream>
#include <string>

#include "show/Screen.h"
#include "show/Show.h"

namespace deskphone {

/// The text of a run, to be held against what is expected of it. Addresses in it read 0xADDRESS, because they differ
/// from run to run.
class Comparison : public Show {
public:
    /// JSON, with states or without, or the text for people.
    struct Form {
        bool json;
        bool states;
    };

    explicit Comparison(Form form);

    void add(const Step& step) override { m_form->add(step); }
    bool showsMachines() const override { return m_form->showsMachines(); }

    /// The text so far.
    std::string text() const;
    /// What differs from the expected text of the same form: step by step, - for what is expected only, + for what
    /// was printed only, coloured as on the screen. Steps are paired, and their numbers make no difference. Empty: the
    /// texts are the same.
    std::string differences(const std::string& expected, const Screen& screen) const;

private:
    std::ostringstream m_printed;
    std::unique_ptr<Show> m_form;  // prints there
};

/// The form of an expected text.
Comparison::Form formOf(const std::string& text);

}  // namespace deskphone
