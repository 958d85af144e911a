// What a function of a plug-in throws, which is no exception of the standard library's.
extern "C" void Throw() { throw 7; }
