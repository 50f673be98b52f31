// A module that lacks one of the three functions.
extern "C" {
__attribute__((visibility("default"))) void dllStartPlugin() { __builtin_trap(); }
__attribute__((visibility("default"))) const char* dllGetKavelinVersion() { return "0.10.0"; }
}
