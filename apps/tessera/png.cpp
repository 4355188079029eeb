#include "png.h"

#include <algorithm>
#include <boost/crc.hpp>
#include <cstdint>

namespace TesseraProgram {
namespace {

void AppendNumber(std::string& bytes, std::uint32_t number) {
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift);
}

/// Length, name, contents and the check of both.
void AppendChunk(std::string& file, const std::string& name, const std::string& contents) {
  AppendNumber(file, static_cast<std::uint32_t>(contents.size()));
  boost::crc_32_type check;
  check.process_bytes(name.data(), name.size());
  check.process_bytes(contents.data(), contents.size());
  file += name + contents;
  AppendNumber(file, check.checksum());
}

/// The zlib form of bytes that are not compressed.
std::string Stored(const std::string& bytes) {
  constexpr std::size_t most = 65535;
  std::string stored = "\x78\x01";
  for (std::size_t begin = 0; begin < bytes.size(); begin += most) {
    const std::size_t size = std::min(most, bytes.size() - begin);
    stored += static_cast<char>(begin + size == bytes.size());
    for (const std::size_t number : {size, ~size}) {
      stored += static_cast<char>(number);
      stored += static_cast<char>(number >> 8);
    }
    stored.append(bytes, begin, size);
  }
  std::uint32_t low = 1, high = 0;
  for (const char byte : bytes) {
    low = (low + static_cast<unsigned char>(byte)) % 65521;
    high = (high + low) % 65521;
  }
  AppendNumber(stored, high << 16 | low);
  return stored;
}

}  // namespace

std::string ToPng(const std::string& line, int height) {
  std::string header;
  AppendNumber(header, static_cast<std::uint32_t>(line.size() / 3));
  AppendNumber(header, static_cast<std::uint32_t>(height));
  // Eight bits for each of three channels; the further numbers are those there are.
  header += std::string("\x08\x02\0\0\0", 5);
  std::string rows;
  for (int row = 0; row < height; ++row) rows += '\0' + line;
  std::string file = "\x89PNG\r\n\x1a\n";
  AppendChunk(file, "IHDR", header);
  AppendChunk(file, "IDAT", Stored(rows));
  AppendChunk(file, "IEND", "");
  return file;
}

}  // namespace TesseraProgram
