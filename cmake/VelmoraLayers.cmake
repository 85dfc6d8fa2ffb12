# velmora_layer(<folder> SOURCES <files> [DEPENDS <folders>] [LIBRARIES <link items>] [NAME <target>])
#
# One static library per source folder. DEPENDS names the project folders this one may use;
# they are linked publicly, so a folder sees what its dependencies see. The folder and its
# dependencies are recorded for the layering check (scripts/check_layers.py), which fails the
# tests when a file includes a header of a folder its library does not depend on, and when the
# folders depend on each other in a circle.
define_property(GLOBAL PROPERTY VELMORA_LAYERS BRIEF_DOCS "folder=deps" FULL_DOCS "layering")

function(velmora_layer folder)
  cmake_parse_arguments(L "" "NAME" "SOURCES;DEPENDS;LIBRARIES" ${ARGN})
  if(L_NAME)
    set(target ${L_NAME})
  else()
    string(REPLACE "/" "_" target "${folder}")
  endif()
  list(TRANSFORM L_SOURCES PREPEND "${PROJECT_SOURCE_DIR}/${folder}/")
  add_library(${target} STATIC ${L_SOURCES})
  target_include_directories(${target} PUBLIC ${PROJECT_SOURCE_DIR})
  foreach(dep IN LISTS L_DEPENDS)
    string(REPLACE "/" "_" depTarget "${dep}")
    get_property(depName GLOBAL PROPERTY "VELMORA_TARGET_OF_${depTarget}")
    if(NOT depName)
      message(FATAL_ERROR "${folder} depends on ${dep}, which is not declared before it")
    endif()
    target_link_libraries(${target} PUBLIC ${depName})
  endforeach()
  if(L_LIBRARIES)
    target_link_libraries(${target} ${L_LIBRARIES})
  endif()
  string(REPLACE "/" "_" key "${folder}")
  set_property(GLOBAL PROPERTY "VELMORA_TARGET_OF_${key}" ${target})
  string(REPLACE ";" "," depText "${L_DEPENDS}")
  set_property(GLOBAL APPEND PROPERTY VELMORA_LAYERS "${folder}=${depText}")
endfunction()

# Writes the recorded folders and their dependencies, one "folder=dep,dep" per line.
function(velmora_write_layers file)
  get_property(layers GLOBAL PROPERTY VELMORA_LAYERS)
  list(JOIN layers "\n" text)
  file(WRITE ${file} "${text}\n")
endfunction()
