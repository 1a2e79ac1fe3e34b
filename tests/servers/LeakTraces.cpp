// Tells leaks of libraries from our own: their frames are found only where the stack is unwound with care.

/// What the address sanitizer asks for at the start of a program that it was built into.
extern "C" const char* __asan_default_options();

extern "C" const char* __asan_default_options() {
    return "fast_unwind_on_malloc=0";
}
