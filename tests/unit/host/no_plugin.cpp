// A library that is no plug-in.
extern "C" int nothingOfTheKind() { return 0; }
