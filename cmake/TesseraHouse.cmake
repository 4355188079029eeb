# Rooms of the house: interfaces/NAME with the declarations, host/NAME with their implementation. Each room's
# headers are reached through an include root of its own, so that a target sees only the rooms that it uses.

# tessera_room(NAME [HOST_ONLY] [USES ROOM...] [LINKS TARGET...] [INCLUDES DIR...])
function(tessera_room name)
  cmake_parse_arguments(ROOM "HOST_ONLY" "" "USES;LINKS;INCLUDES" ${ARGN})
  add_library(${name}_interface INTERFACE)
  if(NOT ROOM_HOST_ONLY)
    set(root ${CMAKE_BINARY_DIR}/include-roots/${name})
    file(MAKE_DIRECTORY ${root})
    file(CREATE_LINK ${CMAKE_SOURCE_DIR}/interfaces/${name} ${root}/${name} SYMBOLIC)
    target_include_directories(${name}_interface INTERFACE ${root})
  endif()
  target_link_libraries(${name}_interface INTERFACE Boost::headers)
  foreach(used IN LISTS ROOM_USES)
    target_link_libraries(${name}_interface INTERFACE ${used}_interface)
  endforeach()

  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/host/${name}/*.cpp)
  if(NOT sources)
    return()
  endif()
  add_library(${name}_host OBJECT ${sources})
  target_link_libraries(${name}_host PRIVATE ${name}_interface ${ROOM_LINKS})
  target_include_directories(${name}_host SYSTEM PRIVATE ${ROOM_INCLUDES})
  # Private headers of the room.
  target_include_directories(${name}_host PRIVATE ${CMAKE_SOURCE_DIR}/host/${name})
  set_property(GLOBAL PROPERTY tessera_links_${name} "${ROOM_LINKS}")
endfunction()

# Puts the rooms' objects into one library, which carries their interfaces.
function(tessera_link_rooms library)
  foreach(name IN LISTS ARGN)
    if(TARGET ${name}_host)
      target_sources(${library} PRIVATE $<TARGET_OBJECTS:${name}_host>)
      get_property(links GLOBAL PROPERTY tessera_links_${name})
      target_link_libraries(${library} PRIVATE ${links})
    endif()
    target_link_libraries(${library} PUBLIC ${name}_interface)
  endforeach()
  target_link_libraries(${library} PRIVATE ${CMAKE_DL_LIBS})
endfunction()

# A module of the engine that holds a heavy library and is loaded on first need: host/modules/NAME/*.cpp, which sees the
# interfaces of the engine's library, and the private headers of a room that it serves, and shows the one function
# `TesseraModule`.
# tessera_module(NAME [ROOM ROOM] [LINKS TARGET...])
function(tessera_module name)
  cmake_parse_arguments(MODULE "" "ROOM" "LINKS" ${ARGN})
  set(folder ${CMAKE_SOURCE_DIR}/host/modules/${name})
  file(GLOB sources CONFIGURE_DEPENDS ${folder}/*.cpp)
  add_library(tessera_${name} MODULE ${sources})
  target_include_directories(tessera_${name} PRIVATE ${folder})
  if(MODULE_ROOM)
    target_include_directories(tessera_${name} PRIVATE ${CMAKE_SOURCE_DIR}/host/${MODULE_ROOM})
  endif()
  target_link_libraries(tessera_${name} PRIVATE tessera ${MODULE_LINKS})
  set_target_properties(tessera_${name} PROPERTIES
    LIBRARY_OUTPUT_DIRECTORY ${TESSERA_LIB_DIR}/modules
    INSTALL_RPATH "\$ORIGIN/.."
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
endfunction()
