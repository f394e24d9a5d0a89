#include "Loading.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "LogSink.h"

namespace deskphone {

namespace {

std::runtime_error loaderError()
{
    return std::runtime_error(::dlerror());
}

constexpr const char* CHOSEN_ORDERS = "orders";  // the folder

/// Of the runtime library, which the loader has found already. This program's own module lies there, too, and its
/// plug-in, which is the same for both runtimes, beside the one that is not CHOSEN_ORDERS. A bare name would do for
/// dlopen() but for the sanitizers: called through them, it does not search this program's RUNPATH.
std::filesystem::path folderOfRuntime()
{
    Dl_info found{};
    if (::dladdr(reinterpret_cast<void*>(&runtime::setLogSink), &found) == 0) {
        throw std::runtime_error("cannot find the runtime library");
    }
    return std::filesystem::absolute(found.dli_fname).parent_path();
}

bool isOnChosenOrders()
{
    return folderOfRuntime().filename() == CHOSEN_ORDERS;
}

std::string ownPlugin()
{
    const std::filesystem::path folder = folderOfRuntime();
    return ((isOnChosenOrders() ? folder.parent_path() : folder) / "libMediaRecordingService.so").string();
}

void* open(const std::string& library, int scope)
{
    void* const loaded = ::dlopen(library.c_str(), RTLD_NOW | scope);
    if (loaded == nullptr) {
        throw loaderError();
    }
    return loaded;
}

template <typename Function>
Function* find(void* library, const char* name)
{
    void* const found = ::dlsym(library, name);
    if (found == nullptr) {
        throw loaderError();
    }
    return reinterpret_cast<Function*>(found);
}

}  // namespace

void runOnChosenOrders(char** arguments)
{
    if (isOnChosenOrders()) {
        return;
    }
    const std::string folder = (folderOfRuntime() / CHOSEN_ORDERS).string();
    if (!std::filesystem::exists(folder + "/libdeskphone.so")) {
        throw std::runtime_error("this build of the program cannot choose orders of events; " + folder + " is missing");
    }
    // Searched before the program's RUNPATH.
    constexpr const char* searched = "LD_LIBRARY_PATH";
    const char* const others = std::getenv(searched);
    const std::string all = others == nullptr ? folder : folder + ':' + others;
    if (others != nullptr && std::string_view(others).substr(0, folder.size()) == folder) {
        throw std::runtime_error("the loader does not take the libraries of " + folder);
    }
    ::setenv(searched, all.c_str(), 1);
    ::execv("/proc/self/exe", arguments);
    throw std::system_error(errno, std::generic_category(), "/proc/self/exe");
}

Loaded load(const std::string& pluginFile)
{
    const std::string file = pluginFile.empty() ? ownPlugin() : std::filesystem::absolute(pluginFile).string();
    void* const library = open(file, RTLD_GLOBAL);
    const Plugin plugin{
        find<decltype(createMediaRecordingService)>(library, "createMediaRecordingService"),
        find<decltype(createMediaRecordingServiceInvoker)>(library, "createMediaRecordingServiceInvoker"),
    };
    try {
        void* const module = open((folderOfRuntime() / "libdeskphone.so").string(), RTLD_LOCAL);
        return {plugin, find<decltype(runDeskphone)>(module, "runDeskphone")};
    } catch (const std::runtime_error& error) {
        throw std::runtime_error("cannot run " + file + ": " + error.what());
    }
}

}  // namespace deskphone
