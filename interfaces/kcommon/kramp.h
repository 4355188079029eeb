#pragma once

#include <string>
#include <string_view>

#include "kcommon/kgda.h"

class KerrException;

/// The colours of a colour ramp file, one row each, as a table of three layers of 64-bit floats from 0 to 1, or of
/// four where a colour isn't opaque. Red, green and blue, with or without opacity behind or an index in front, or
/// hexadecimal colours; see docs/formats.md. No layers, and the failure in `error`, where it can't be read.
KgdaBaseDataStack ColorRampFromFile(const std::wstring& fileName, KerrException& error);
KgdaBaseDataStack ColorRampFromText(std::string_view text, const std::wstring& source, KerrException& error);
