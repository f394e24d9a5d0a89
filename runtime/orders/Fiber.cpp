#include "Fiber.h"

#include <cxxabi.h>
#include <sys/mman.h>

#include <cstdint>
#include <new>

namespace runtime::orders {

namespace {

constexpr std::size_t STACK_SIZE = std::size_t{256} * 1024;
constexpr std::size_t GUARD_SIZE = 4096;

}  // namespace

Fiber::Fiber(void (*entry)()) : m_entry(entry)
{
    m_stack = ::mmap(nullptr, STACK_SIZE, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
    if (m_stack == MAP_FAILED) {
        throw std::bad_alloc();
    }
    ::mprotect(m_stack, GUARD_SIZE, PROT_NONE);
    restart();
}

Fiber::~Fiber()
{
    if (m_stack != nullptr) {
        ::munmap(m_stack, STACK_SIZE);
    }
}

void Fiber::restart()
{
    ::getcontext(&m_beginning);
    m_beginning.uc_stack.ss_sp = m_stack;
    m_beginning.uc_stack.ss_size = STACK_SIZE;
    m_beginning.uc_link = nullptr;
    ::makecontext(&m_beginning, m_entry, 0);
    m_begun = false;
    m_exceptions = Exceptions();
}

bool Fiber::isOnStack(const void* address) const
{
    return reinterpret_cast<std::uintptr_t>(address) - reinterpret_cast<std::uintptr_t>(m_stack) < STACK_SIZE;
}

// Only the beginning takes a context, whose switch saves the signal mask with a system call; a jump does not.
void Fiber::switchTo(Fiber& other)
{
    m_exceptions = exceptions();
    exceptions() = other.m_exceptions;
    if (::_setjmp(m_state) == 0) {
        if (other.m_begun) {
            ::_longjmp(other.m_state, 1);
        }
        other.m_begun = true;
        ::setcontext(&other.m_beginning);
    }
}

Fiber::Exceptions& Fiber::exceptions()
{
    return *reinterpret_cast<Exceptions*>(abi::__cxa_get_globals());
}

}  // namespace runtime::orders
