// A loadable module without the class-object entry point.
extern "C" int HdbRegistryNoEntry() {
    return 0;
}
