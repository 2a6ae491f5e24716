// Lets thread-local objects be destroyed before their memory is given back.
//
// MinGW keeps both the list of destructors and the memory behind a thread-specific key, and a
// thread that ends empties its keys in the order in which they were made. The list's key is made
// with the first object that has a destructor, which is after the memory's: destructors would then
// run on memory that is free. So an object that needs nothing is listed before any thread-local
// memory has been asked for.

#if defined(__MINGW32__)

extern "C" int __cxa_thread_atexit(void (*destroy)(void*), void* object, void* library);

namespace {

void doNothing(void*) {}

struct ListedFirst {
  ListedFirst() { __cxa_thread_atexit(&doNothing, nullptr, nullptr); }
};

// The lowest priority number that is not the compiler's own.
__attribute__((init_priority(101))) ListedFirst listedFirst;

}  // namespace

#endif
