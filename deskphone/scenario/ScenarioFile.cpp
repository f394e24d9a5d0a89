#include "scenario/ScenarioFile.h"

#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

namespace deskphone {

ScenarioFile::ScenarioFile(const std::string& name, std::ostream& errors, Wait wait)
    : m_name(name),
      m_errors(errors),
      m_wait(std::move(wait)),
      m_file(name == "-" ? stdin : std::fopen(name.c_str(), "re"))
{
    if (m_file == nullptr) {
        throw std::system_error(errno, std::generic_category(), name);
    }
    if (m_wait) {
        // Nothing may lie in a buffer while the descriptor is waited for.
        std::setvbuf(m_file.get(), nullptr, _IONBF, 0);
    }
}

bool ScenarioFile::next(Given& command)
{
    command = {};
    std::string comment;
    for (std::string line; command.words.empty() && nextLine(line);) {
        ++m_line;
        command.words = splitLine(line, &comment);
        if (!comment.empty()) {
            command.comments.push_back(comment);
        }
        if (!command.words.empty() && m_blocks.take(command)) {
            m_blockLine = m_line;
            command.words.clear();
        }
    }
    if (command.words.empty() && m_blocks.isOpen()) {
        m_line = m_blockLine;
        throw Mistake("at-once: no end stands behind it");
    }
    return !command.words.empty();
}

bool ScenarioFile::refused(const Mistake& mistake)
{
    m_errors << place() << ": " << mistake.what() << std::endl;
    return false;
}

/// A line may hold any bytes and be of any length; the last one needs no newline.
bool ScenarioFile::nextLine(std::string& line)
{
    if (m_wait && !m_blocks.isOpen()) {
        m_wait(::fileno(m_file.get()));
    }
    char* buffer = nullptr;
    std::size_t capacity = 0;
    const ssize_t length = ::getline(&buffer, &capacity, m_file.get());
    const int error = errno;
    const std::unique_ptr<char, decltype(&std::free)> owner(buffer, std::free);
    if (length < 0) {
        if (std::feof(m_file.get()) == 0) {
            throw std::system_error(error, std::generic_category(), m_name);
        }
        return false;
    }
    line.assign(buffer, static_cast<std::size_t>(length));
    for (const char end : {'\n', '\r'}) {
        if (!line.empty() && line.back() == end) {
            line.pop_back();
        }
    }
    return true;
}

void ScenarioFile::Close::operator()(std::FILE* file) const
{
    if (file != stdin) {
        std::fclose(file);
    }
}

}  // namespace deskphone
