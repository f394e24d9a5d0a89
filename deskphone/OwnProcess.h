#pragma once

#include <cstddef>
#include <functional>
#include <new>
#include <string>

namespace deskphone {

/// Does the work in a copy of this process, which ends with what it returns; what it throws is reported and counts
/// as 2. Returns how the copy ended, as waitpid() tells it. Throws std::system_error when there can be none.
int inAProcessOfItsOwn(const std::function<int()>& work);

/// Tells how a process ended that did not finish its work.
std::string endOfProcess(int status);

/// Memory that this process shares with those that it makes later; never released. Throws std::system_error.
void* sharedMemory(std::size_t size);

template <typename Object>
Object& makeShared()
{
    return *new (sharedMemory(sizeof(Object))) Object();
}

}  // namespace deskphone
