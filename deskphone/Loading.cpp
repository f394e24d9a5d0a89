#include "Loading.h"

#include <dlfcn.h>

#include <filesystem>
#include <stdexcept>

#include "LogSink.h"

namespace deskphone {

namespace {

std::runtime_error loaderError()
{
    return std::runtime_error(::dlerror());
}

/// This program's own plug-in and module lie beside the runtime library, which the loader has found already. A bare
/// name would do for dlopen() but for the sanitizers: called through them, it does not search this program's RUNPATH.
std::string besideRuntime(const char* library)
{
    Dl_info found{};
    if (::dladdr(reinterpret_cast<void*>(&runtime::setLogSink), &found) == 0) {
        throw std::runtime_error("cannot find the runtime library");
    }
    return std::filesystem::absolute(found.dli_fname).replace_filename(library).string();
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

Loaded load(const std::string& pluginFile)
{
    const std::string file = pluginFile.empty() ? besideRuntime("libMediaRecordingService.so")
                                                : std::filesystem::absolute(pluginFile).string();
    void* const library = open(file, RTLD_GLOBAL);
    const Plugin plugin{
        find<decltype(createMediaRecordingService)>(library, "createMediaRecordingService"),
        find<decltype(createMediaRecordingServiceInvoker)>(library, "createMediaRecordingServiceInvoker"),
    };
    try {
        void* const module = open(besideRuntime("libdeskphone.so"), RTLD_LOCAL);
        return {plugin, find<decltype(runDeskphone)>(module, "runDeskphone")};
    } catch (const std::runtime_error& error) {
        throw std::runtime_error("cannot run " + file + ": " + error.what());
    }
}

}  // namespace deskphone
