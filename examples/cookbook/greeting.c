const char* greeting(void);

const char* greeting(void) {
    return "hello from the plug-in";
}
