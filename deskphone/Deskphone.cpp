#include "Deskphone.h"

#include <unistd.h>
#include <cstdlib>
#include <iostream>

#include "Commands.h"
#include "Player.h"
#include "Printers.h"
#include "Recorder.h"
#include "Telephone.h"

namespace {

Printer choosePrinter(bool json)
{
    if (json) {
        return printJson;
    }
    const char* const noColor = std::getenv("NO_COLOR");
    const bool coloured = ::isatty(STDOUT_FILENO) != 0 && (noColor == nullptr || *noColor == '\0');
    return [coloured](const Step& step) { return printText(step, coloured); };
}

}  // namespace

int runDeskphone(const DeskphoneOptions& options, const Plugin& plugin)
{
    if (options.listCommands) {
        std::cout << listOfCommands() << std::flush;
        return 0;
    }
    Recorder recorder;
    Telephone telephone(plugin, recorder);
    Player player(telephone, recorder, choosePrinter(options.json), std::cout, std::cerr);
    return player.play(options.scenarios);
}
