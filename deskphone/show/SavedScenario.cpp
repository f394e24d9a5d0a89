#include "show/SavedScenario.h"

#include <cerrno>
#include <system_error>

namespace deskphone {

SavedScenario::SavedScenario(const std::string& name) : m_name(name), m_file(name, std::ios::binary)
{
    check();
}

void SavedScenario::add(const Step& step)
{
    if (step.begins) {
        m_file << m_writer.add(step) << std::flush;
        check();
    }
}

void SavedScenario::finish()
{
    m_file << m_writer.rest() << std::flush;
    check();
}

void SavedScenario::check() const
{
    if (!m_file) {
        throw std::system_error(errno, std::generic_category(), m_name);
    }
}

}  // namespace deskphone
