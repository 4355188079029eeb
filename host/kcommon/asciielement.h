#pragma once

#include <string>

#include "kcommon/kgda.h"
#include "textlines.h"

/// Elements as text: the shortest decimal that reads back as the same number; "nan", "inf"; complex numbers as
/// "1+2j"; strings in double quotes with escapes, no string as the word null.

/// Appends an element; `element` points at the storage of the type.
void AppendElement(std::string& text, Kgda_PixelType type, const void* element);

/// Reads the element at the place and moves behind it. Raises TextFault where there is none of that type.
void ReadElement(TextLines& lines, Kgda_PixelType type, void* element);

/// A number as a double: for properties and colours.
double ReadNumber(TextLines& lines);

/// The string in quotes at the place, which is moved behind it.
std::string ReadQuoted(TextLines& lines);
