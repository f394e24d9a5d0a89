#pragma once

#include <map>
#include <memory>
#include <ostream>
#include <set>
#include <string>

#include "prompt/Prompt.h"
#include "scenario/Blocks.h"
#include "scenario/ScenarioFile.h"
#include "scenario/ScenarioWriter.h"
#include "scenario/Source.h"

namespace deskphone {

class Telephone;

/// A person at the prompt as a source. Answers the prompt's own words itself, plays files in between, completes words
/// from what was played, and goes on after a mistake.
class Conversation : public Source, private Completer {
public:
    /// The telephone is asked for its status; mistakes are reported on `errors`; `story` is what was played so far.
    /// None is owned. It waits for the person, if there is something to wait with.
    Conversation(Telephone& telephone, std::ostream& errors, const Story& story, Wait wait = {});

    bool next(Given& command) override;
    void played(const Step& step) override;
    bool refused(const Mistake& mistake) override;

private:
    bool nextOfFile(Given& command);
    void perform(const Words& words);
    std::string helpOn(const Words& words) const;
    void save(const std::string& file);
    Words completions(const Words& words, const std::string& begun) const override;

    Telephone& m_telephone;
    std::ostream& m_errors;
    const Story& m_story;
    const Wait m_wait;
    Prompt m_prompt{*this, m_wait};
    bool m_greeted = false;
    bool m_left = false;
    Blocks m_blocks;
    std::unique_ptr<ScenarioFile> m_file;                 // the one that is played; null: none
    std::map<std::string, std::set<std::string>> m_seen;  // words by the name of their place
    std::set<std::string> m_saved;                        // files
};

}  // namespace deskphone
