# The constants of encrypted model documents, made from a key file into one source. A build reads the documents of builds
# with the same key file. tx_general/formatkey.txt is everybody's; -DTESSERA_FORMAT_KEY=FILE makes a build with its own.
set(TESSERA_FORMAT_KEY "" CACHE FILEPATH "Key file of this build's encrypted model documents; empty: everybody's")
set(TESSERA_FORMAT_SOURCE ${CMAKE_BINARY_DIR}/format-key/formatconstants.cpp)

# The hexadecimal digits of a digest of the key file and of what they are for.
function(tessera_key_digits what count out)
  string(SHA256 digits "${key_digest} ${what}")
  string(SUBSTRING ${digits} 0 ${count} digits)
  set(${out} ${digits} PARENT_SCOPE)
endfunction()

function(tessera_format_source)
  set(file ${CMAKE_SOURCE_DIR}/tx_general/formatkey.txt)
  if(TESSERA_FORMAT_KEY)
    get_filename_component(file ${TESSERA_FORMAT_KEY} ABSOLUTE BASE_DIR ${CMAKE_SOURCE_DIR})
  endif()
  if(NOT EXISTS ${file})
    message(FATAL_ERROR "TESSERA_FORMAT_KEY: there is no file ${file}")
  endif()
  file(SIZE ${file} size)
  if(size LESS 32)
    message(FATAL_ERROR "TESSERA_FORMAT_KEY: ${file} has ${size} bytes, expected at least 32, best at random")
  endif()
  set_property(DIRECTORY ${CMAKE_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
  file(SHA256 ${file} key_digest)

  set(block "")
  foreach(part RANGE 7)
    tessera_key_digits("block ${part}" 64 digits)
    string(REGEX REPLACE "(..)" "0x\\1, " bytes ${digits})
    string(APPEND block "    ${bytes}\n")
  endforeach()
  tessera_key_digits("key text" 60 key_text)
  tessera_key_digits("salt" 60 salt)
  set(pieces "")
  foreach(part RANGE 9)
    tessera_key_digits("piece ${part}" 10 digits)
    string(APPEND pieces "    L\"${digits}\",\n")
  endforeach()
  file(CONFIGURE OUTPUT ${TESSERA_FORMAT_SOURCE} @ONLY CONTENT [[
// Made by cmake/FormatKey.cmake.
#include "formatconstants.h"

namespace korven::tx_general::FormatConstants {

const std::uint8_t kKeyBlock[kKeyBlockSize] = {
@block@};
const wchar_t* const kKeyText = L"@key_text@";
const wchar_t* const kCheckSalt = L"@salt@";
const wchar_t* const kModePieces[kModePieceCount] = {
@pieces@};

}  // namespace korven::tx_general::FormatConstants
]])
endfunction()

tessera_format_source()
