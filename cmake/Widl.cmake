# Compiling interface descriptions: a type library and a C++ header from one file.

find_program(WIDL i686-w64-mingw32-widl REQUIRED)
find_program(PYTHON python3 REQUIRED)
set(TYPELIB_READER ${CMAKE_SOURCE_DIR}/tools/typelib.py)
set(WINE_IDL_DIR /usr/include/wine/wine/windows)
set(WINE_TYPELIB_DIR /usr/lib/i386-linux-gnu/wine/i386-windows)

# widl_library(TARGET FILE.idl): makes NAME.tlb and NAME.h in the current build folder, and an
# interface library TARGET through which the header is found.
function(widl_library target idl)
  get_filename_component(name ${idl} NAME_WE)
  set(source ${CMAKE_CURRENT_SOURCE_DIR}/${idl})
  get_filename_component(folder ${source} DIRECTORY)
  set(stem ${CMAKE_CURRENT_BINARY_DIR}/${name})
  set(widl ${WIDL} -m32 --win32 -I ${WINE_IDL_DIR} -L ${WINE_TYPELIB_DIR})
  set(complete ${CMAKE_SOURCE_DIR}/tools/complete_typelib.py)
  add_custom_command(
    OUTPUT ${stem}.tlb
    COMMAND ${widl} -DTYPELIB -t -o ${stem}.tlb ${name}.idl
    COMMAND ${PYTHON} -B ${complete} ${stem}.tlb
    WORKING_DIRECTORY ${folder}
    DEPENDS ${source} ${complete} ${TYPELIB_READER}
    VERBATIM)
  add_custom_command(
    OUTPUT ${stem}.h
    # From where it lies: the header notes the name that it was given.
    COMMAND ${widl} -h -o ${stem}.h ${name}.idl
    WORKING_DIRECTORY ${folder}
    DEPENDS ${source}
    VERBATIM)
  add_custom_target(${target}_files DEPENDS ${stem}.tlb ${stem}.h)
  add_library(${target} INTERFACE)
  set_target_properties(${target} PROPERTIES TYPE_LIBRARY ${stem}.tlb)
  add_dependencies(${target} ${target}_files)
  # As a system header: generated code is not held to our warnings.
  target_include_directories(${target} SYSTEM INTERFACE ${CMAKE_CURRENT_BINARY_DIR})
endfunction()

# list_members(TARGET INTERFACE...): makes, for a target of widl_library, the tables of these dual
# interfaces and of all records that late binding is driven by: INTERFACE_members.h and
# NAME_records.h.
function(list_members target)
  get_target_property(library ${target} TYPE_LIBRARY)
  get_filename_component(name ${library} NAME_WE)
  list(TRANSFORM ARGN PREPEND ${CMAKE_CURRENT_BINARY_DIR}/ OUTPUT_VARIABLE tables)
  list(TRANSFORM tables APPEND _members.h)
  list(APPEND tables ${CMAKE_CURRENT_BINARY_DIR}/${name}_records.h)
  set(tool ${CMAKE_SOURCE_DIR}/tools/list_members.py)
  add_custom_command(
    OUTPUT ${tables}
    COMMAND ${PYTHON} -B ${tool} ${library} ${CMAKE_CURRENT_BINARY_DIR}
    DEPENDS ${library} ${tool} ${TYPELIB_READER}
    VERBATIM)
  add_custom_target(${target}_members DEPENDS ${tables})
  add_dependencies(${target} ${target}_members)
endfunction()
