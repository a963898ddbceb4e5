// Sanitizer settings of every test program, built into it so that a test run by
// hand behaves as under ctest. Each sanitizer reads only its own function.
#ifndef BRISK_SOURCE_DIR
#define BRISK_SOURCE_DIR "."
#endif

extern "C" {
const char* __asan_default_options() {
    return "detect_leaks=1";
}
const char* __ubsan_default_options() {
    return "print_stacktrace=1:halt_on_error=1";
}
const char* __tsan_default_options() {
    return "halt_on_error=1:second_deadlock_stack=1:suppressions=" BRISK_SOURCE_DIR
           "/tests/tsan.supp";
}
}
