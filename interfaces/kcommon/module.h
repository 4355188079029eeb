#pragma once

namespace korven::common {

/// A module keeps a heavy library out of the programs that don't need it: `libtessera_NAME.so` in the folder `modules`
/// beside the engine's own library is loaded when it is first asked for, and stays.
///
/// `name` is an ASCII name such as "gdal". The result is what the module's one function, `extern "C" const void*
/// TesseraModule()`, gives: a table of calls or an object whose type both sides know from a header that they share. It
/// lives as long as the process.
///
/// Any thread may ask, any number of times; whoever asks often keeps the result. Throws `KorvenLog::Exception` with the
/// file and the system's reason where the module is missing, or a library that it needs is; a later call tries again.
const void* LoadModule(const char* name);

}  // namespace korven::common
