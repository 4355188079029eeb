if(CMAKE_INSTALL_PREFIX MATCHES "/lib/tessera/*$")
  set(libraries "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/..")
  file(MAKE_DIRECTORY "${libraries}/cmake" "${libraries}/pkgconfig")
  file(CREATE_LINK "../tessera/lib/cmake/Tessera" "${libraries}/cmake/Tessera" SYMBOLIC)
  # A link would not do: pkg-config takes the place of the link for the place of the file.
  file(READ "${libraries}/tessera/lib/pkgconfig/tessera.pc" text)
  string(REPLACE "\${pcfiledir}/../.." "\${pcfiledir}/../tessera" text "${text}")
  file(WRITE "${libraries}/pkgconfig/tessera.pc" "${text}")
endif()
