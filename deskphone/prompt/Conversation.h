#pragma once

#include <map>
#include <ostream>
#include <set>
#include <string>

#include "prompt/Prompt.h"
#include "scenario/Source.h"

namespace deskphone {

class Telephone;

/// A person at the prompt as a source. Answers "help" and "status" itself, completes words from what was played, and
/// goes on after a mistake.
class Conversation : public Source {
public:
    /// The telephone is asked for its status; mistakes are reported on `errors`. Neither is owned.
    Conversation(Telephone& telephone, std::ostream& errors);

    bool next(Given& command) override;
    void played(const Step& step) override;
    bool refused(const Mistake& mistake) override;

private:
    bool answered(const Words& words);
    Words completions(const Words& words) const;

    Telephone& m_telephone;
    std::ostream& m_errors;
    Prompt m_prompt;
    int m_line = 0;                                       // its number
    std::map<std::string, std::set<std::string>> m_seen;  // words by the name of their place
};

}  // namespace deskphone
