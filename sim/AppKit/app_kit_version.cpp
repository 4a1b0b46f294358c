// AppKit's version number: the one AppKit symbol that Mac HID code reads without using AppKit itself.
//
// HID libraries declare it themselves ("extern const double NSAppKitVersionNumber;") and
// link AppKit only for it, to tell the macOS release they run on (before 10.10 a device
// had to be opened differently). A program built against the simulation finds it here.
// The simulated Mac is macOS 13.0, whose AppKit is version 2299.
extern "C" {
extern double const NSAppKitVersionNumber;
double const NSAppKitVersionNumber = 2299;
}
