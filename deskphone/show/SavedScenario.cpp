#include "show/SavedScenario.h"

#include <cerrno>
#include <iostream>
#include <system_error>

namespace deskphone {

SavedScenario::SavedScenario(const std::string& name) : m_name(name), m_output(name == "-" ? std::cout : m_file)
{
    if (name != "-") {
        m_file.open(name, std::ios::binary);
    }
    check();
}

void SavedScenario::add(const Step& step)
{
    if (step.begins) {
        m_output << m_writer.add(step) << std::flush;
        check();
    }
}

void SavedScenario::addComments(const std::vector<std::string>& comments)
{
    m_output << m_writer.end(comments) << std::flush;
    check();
}

void SavedScenario::finish()
{
    m_output << m_writer.end({}) << std::flush;
    check();
}

void SavedScenario::check() const
{
    if (!m_output) {
        throw std::system_error(errno, std::generic_category(), m_name);
    }
}

}  // namespace deskphone
