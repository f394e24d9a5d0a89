#include "telephone/LogFile.h"

#include <cerrno>
#include <ctime>
#include <system_error>

namespace deskphone {

LogFile::LogFile(const std::string& name) : m_name(name), m_file(std::fopen(name.c_str(), "we"), std::fclose)
{
    if (m_file == nullptr) {
        throw std::system_error(errno, std::generic_category(), name);
    }
}

void LogFile::write(RecordThread thread, const LogLine& log, int sourceLine)
{
    std::FILE* const file = m_file.get();
    std::fprintf(file, "%s %s %d %s %s:%d: ", timeNow(), threadNames[thread], log.level, log.component.c_str(),
                 log.source.c_str(), sourceLine);
    std::fwrite(log.text.data(), 1, log.text.size(), file);
    std::fputc('\n', file);
}

void LogFile::flush()
{
    if (std::fflush(m_file.get()) != 0 || std::ferror(m_file.get()) != 0) {
        throw std::system_error(errno, std::generic_category(), m_name);
    }
}

const char* LogFile::timeNow()
{
    using namespace std::chrono;
    constexpr std::size_t lengthOfSecond = sizeof "2000-01-01T00:00:00" - 1;
    const auto now = duration_cast<microseconds>(system_clock::now().time_since_epoch());
    const auto second = duration_cast<seconds>(now);
    if (second != m_second) {
        m_second = second;
        const auto time = static_cast<std::time_t>(second.count());
        std::tm parts{};
        ::gmtime_r(&time, &parts);
        std::strftime(m_time, sizeof m_time, "%Y-%m-%dT%H:%M:%S", &parts);
    }
    const auto part = static_cast<int>((now - second).count());
    std::snprintf(m_time + lengthOfSecond, sizeof m_time - lengthOfSecond, ".%06dZ", part);
    return m_time;
}

}  // namespace deskphone
