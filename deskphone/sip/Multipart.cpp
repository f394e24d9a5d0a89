#include "sip/Multipart.h"

#include <strings.h>

#include <algorithm>
#include <sstream>

namespace deskphone {

namespace {

bool beginsWith(const std::string& text, const std::string& beginning)
{
    return ::strncasecmp(text.c_str(), beginning.c_str(), beginning.size()) == 0;
}

bool isOfType(const std::string& header, const std::string& type)
{
    const std::string name = "Content-Type:";
    std::istringstream lines(header);
    for (std::string line; std::getline(lines, line);) {
        if (beginsWith(line, name)) {
            const std::size_t value = line.find_first_not_of(" \t", name.size());
            const std::size_t end = line.find_first_of("; \t\r", value);
            return value != std::string::npos && beginsWith(line.substr(value, end - value) + ';', type + ';');
        }
    }
    return false;
}

}  // namespace

std::string partOf(const std::string& body, const std::string& boundary, const std::string& type)
{
    const std::string edge = "\r\n--" + boundary;
    const std::string text = "\r\n" + body;
    std::size_t begin = text.find(edge);
    for (std::size_t end = 0; begin != std::string::npos; begin = end) {
        begin += edge.size();
        end = text.find(edge, begin);
        const std::size_t content = text.find("\r\n\r\n", begin);
        if (end != std::string::npos && content < end && isOfType(text.substr(begin, content - begin), type)) {
            return text.substr(content + 4, end - std::min(end, content + 4));
        }
    }
    return "";
}

}  // namespace deskphone
