// What the sanitizers are to do, built into each program: a contained one could not be told by its
// environment or read it from a file. They look for these by name.
extern "C" {

__attribute__((visibility("default"))) const char* __ubsan_default_options() {
  return "halt_on_error=1:print_stacktrace=1";
}

__attribute__((visibility("default"))) const char* __tsan_default_options() {
  return "atexit_sleep_ms=50";  // of a second, which each of the tests' many programs would wait
}

__attribute__((visibility("default"))) const char* __tsan_default_suppressions() {
  // Mesa's software driver is not built with the sanitizer, which therefore does not see how the
  // driver's threads agree: what they hand each other it takes for races, and a lock of theirs that
  // it has not seen being made for misuse.
  return "race:swrast_dri.so\n"
         "race:libgallium\n"
         "mutex:swrast_dri.so\n"
         // A process that ends while the drivers are being loaded finds what they free then in use.
         "race:libvulkan_\n"
         // The threads by which Pango looks fonts up, which hand over to ours in GLib, unseen too.
         "race:PangoTypesetter.cpp\n"
         "race:libfontconfig.so\n";
}

__attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
  // It keeps distances in the place of pointers, so what it still holds at the end looks lost: one
  // pattern of 288 bytes, however many texts were set.
  return "leak:libfontconfig.so\n";
}

}  // extern "C"
