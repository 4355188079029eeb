#pragma once

#include <string>

namespace TesseraProgram {

/// The bytes of a PNG file: so many times the same line, which has three bytes for each pixel: red, green, blue.
std::string ToPng(const std::string& line, int height);

}  // namespace TesseraProgram
