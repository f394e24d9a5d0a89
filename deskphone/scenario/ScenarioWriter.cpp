#include "scenario/ScenarioWriter.h"

#include "scenario/Words.h"

namespace deskphone {

std::string asScenario(const Step& step)
{
    std::string text;
    for (const std::string& comment : step.comments) {
        text += comment + '\n';
    }
    for (const std::string& word : step.command) {
        text += (&word == &step.command.front() ? "" : " ") + asWritten(word);
    }
    return text + '\n';
}

}  // namespace deskphone
