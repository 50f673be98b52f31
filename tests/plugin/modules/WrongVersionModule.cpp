// A module built against another host.
extern "C" {
__attribute__((visibility("default"))) void dllStartPlugin() { __builtin_trap(); }
__attribute__((visibility("default"))) void dllStopPlugin() {}
__attribute__((visibility("default"))) const char* dllGetKavelinVersion() { return "0.9.7"; }
}
