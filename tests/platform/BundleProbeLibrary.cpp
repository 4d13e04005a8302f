/// A symbol whose address lies in this library.
extern "C" [[gnu::visibility("default")]] const int bundleProbe;
extern "C" const int bundleProbe = 1;
