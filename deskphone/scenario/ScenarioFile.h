#pragma once

#include <cstdio>
#include <memory>
#include <ostream>
#include <string>

#include "scenario/Blocks.h"
#include "scenario/Source.h"

namespace deskphone {

/// A scenario as a source, line by line. A mistake in it ends the run. Opening and reading throw std::system_error,
/// with the name, when they fail.
class ScenarioFile : public Source {
public:
    /// "-" is standard input. Mistakes are reported on `errors`, which is not owned. It waits before each command, if
    /// there is something to wait with.
    ScenarioFile(const std::string& name, std::ostream& errors, Wait wait = {});

    bool next(Given& command) override;
    bool refused(const Mistake& mistake) override;
    /// Of the command given last: FILE:LINE.
    std::string place() const { return m_name + ':' + std::to_string(m_line); }

private:
    struct Close {
        void operator()(std::FILE* file) const;
    };

    bool nextLine(std::string& line);

    const std::string m_name;
    std::ostream& m_errors;
    const Wait m_wait;
    std::unique_ptr<std::FILE, Close> m_file;
    int m_line = 0;  // its number
    Blocks m_blocks;
    int m_blockLine = 0;  // where the last block began
};

}  // namespace deskphone
