// Makes every access to memory that threads can share a point of an order of events, in what is compiled with
// -fsanitize=thread and linked with this instead of the sanitizer. So it shows what a lock keeps apart, once it is
// gone.

#include <cstddef>

#include "Orders.h"

namespace {

void access(const void* address)
{
    if (!runtime::orders::isOnStack(address)) {
        runtime::orders::point();
    }
}

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
#define ACCESS(name)                             \
    extern "C" void __tsan_##name(void* address) \
    {                                            \
        access(address);                         \
    }

ACCESS(read1)
ACCESS(read2)
ACCESS(read4)
ACCESS(read8)
ACCESS(read16)
ACCESS(write1)
ACCESS(write2)
ACCESS(write4)
ACCESS(write8)
ACCESS(write16)
ACCESS(unaligned_read2)
ACCESS(unaligned_read4)
ACCESS(unaligned_read8)
ACCESS(unaligned_read16)
ACCESS(unaligned_write2)
ACCESS(unaligned_write4)
ACCESS(unaligned_write8)
ACCESS(unaligned_write16)
ACCESS(vptr_read)

extern "C" void __tsan_init() {}

extern "C" void __tsan_vptr_update(void** table, void* /*type*/)
{
    access(table);
}

extern "C" void __tsan_read_range(void* address, std::size_t /*size*/)
{
    access(address);
}

extern "C" void __tsan_write_range(void* address, std::size_t /*size*/)
{
    access(address);
}

extern "C" char __tsan_atomic8_load(const volatile char* flag, int /*order*/)
{
    access(const_cast<const char*>(flag));
    return *flag;
}

extern "C" char __tsan_atomic8_exchange(volatile char* flag, char value, int /*order*/)
{
    access(const_cast<const char*>(flag));
    const char before = *flag;
    *flag = value;
    return before;
}

extern "C" long __tsan_atomic64_load(const volatile long* pointer, int /*order*/)
{
    access(const_cast<const long*>(pointer));
    return *pointer;
}

extern "C" void __tsan_atomic64_store(volatile long* pointer, long value, int /*order*/)
{
    access(const_cast<const long*>(pointer));
    *pointer = value;
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
