#pragma once

#include <ucontext.h>
#include <csetjmp>

namespace runtime::orders {

/// A flow of control with a stack of its own; many share a thread of the system. A switch takes some 20 ns: no system
/// call, no other processor.
class Fiber {
public:
    /// What runs already, on the stack it has.
    Fiber() = default;
    /// `entry` begins at the first switch to it and must not return.
    explicit Fiber(void (*entry)());
    ~Fiber();
    Fiber(const Fiber&) = delete;
    Fiber& operator=(const Fiber&) = delete;

    /// Leaves this one, which must be the one that runs; returns when something switches to it again.
    void switchTo(Fiber& other);
    /// The next switch to it begins `entry` again. What is on its stack is lost.
    void restart();
    bool isOnStack(const void* address) const;

private:
    /// What the C++ runtime keeps for each thread of the system.
    struct Exceptions {
        void* caught = nullptr;
        unsigned uncaught = 0;
    };

    static Exceptions& exceptions();

    void (*m_entry)() = nullptr;
    void* m_stack = nullptr;
    bool m_begun = true;
    Exceptions m_exceptions;
    std::jmp_buf m_state;
    ucontext_t m_beginning;
};

}  // namespace runtime::orders
