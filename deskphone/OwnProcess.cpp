#include "OwnProcess.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <iostream>
#include <system_error>

namespace deskphone {

int inAProcessOfItsOwn(const std::function<int()>& work)
{
    const pid_t child = ::fork();
    if (child == 0) {
        int status = 2;
        try {
            status = work();
        } catch (const std::exception& failure) {
            std::cerr << "deskphone: " << failure.what() << std::endl;
        }
        ::_exit(status);
    }
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) < 0) {
        throw std::system_error(errno, std::generic_category(), "a process of its own");
    }
    return status;
}

std::string endOfProcess(int status)
{
    return std::string("it ended the process") +
           (WIFSIGNALED(status) ? std::string(": ") + ::strsignal(WTERMSIG(status)) : "");
}

void* sharedMemory(std::size_t size)
{
    void* const memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::system_error(errno, std::generic_category(), "shared memory");
    }
    return memory;
}

}  // namespace deskphone
