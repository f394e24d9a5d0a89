#include "scenario/ScenarioWriter.h"

#include "scenario/Blocks.h"
#include "scenario/Words.h"

namespace deskphone {

std::string ScenarioWriter::add(const Step& step)
{
    std::string text;
    if (step.block != Block::FURTHER) {
        text = rest();
        m_inBlock = false;
    }
    const auto line = [this, &text](const std::string& content) { text += (m_inBlock ? "    " : "") + content + '\n'; };
    for (const std::string& comment : step.comments) {
        line(comment);
    }
    if (step.block == Block::FIRST) {
        line(Blocks::BEGIN);
        m_inBlock = true;
    }
    std::string command;
    for (const std::string& word : step.command) {
        command += (&word == &step.command.front() ? "" : " ") + asWritten(word);
    }
    line(command);
    return text;
}

std::string ScenarioWriter::end(const std::vector<std::string>& comments)
{
    std::string text = rest();
    m_inBlock = false;
    for (const std::string& comment : comments) {
        text += comment + '\n';
    }
    return text;
}

std::string ScenarioWriter::rest() const
{
    return m_inBlock ? std::string(Blocks::END) + '\n' : "";
}

}  // namespace deskphone
