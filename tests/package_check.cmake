# The package as a new user meets it: install the build tree to a fresh prefix, check that no
# internal header is installed, build a consumer project against the prefix, run the installed
# dctool from the prefix and ask pkg-config for the flags.
# Run with cmake -DBUILD_DIR=... -DWORK_DIR=... -DCONSUMER_DIR=... [-DCONFIG=...] -P this file.
function(run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${what} failed (${status}):\n${out}")
  endif()
  set(output "${out}" PARENT_SCOPE)
endfunction()

set(prefix ${WORK_DIR}/prefix)
file(REMOVE_RECURSE ${WORK_DIR})
set(config_args)
if(CONFIG)
  set(config_args --config ${CONFIG})
endif()
run("install" ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix} ${config_args})

file(GLOB_RECURSE internal_dirs LIST_DIRECTORIES true ${prefix}/include/*)
list(FILTER internal_dirs INCLUDE REGEX "/internal(/|$)")
if(internal_dirs)
  message(FATAL_ERROR "internal headers installed: ${internal_dirs}")
endif()

run("consumer configure" ${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${WORK_DIR}/consumer
    -DCMAKE_PREFIX_PATH=${prefix} -DQV_INCLUDE_DIR=${prefix}/include
    -DCMAKE_CXX_COMPILER=${CXX})
run("consumer build" ${CMAKE_COMMAND} --build ${WORK_DIR}/consumer)

if(EXISTS ${BUILD_DIR}/tools/dctool)
  file(GLOB dctool ${prefix}/bin/dctool)
  if(NOT dctool)
    message(FATAL_ERROR "dctool is not installed in ${prefix}/bin")
  endif()
  run("installed dctool --help" ${dctool} --help)
  if(NOT output MATCHES "usage: dctool")
    message(FATAL_ERROR "installed dctool --help printed:\n${output}")
  endif()
endif()

file(GLOB_RECURSE pc ${prefix}/*/qvdatacarrier.pc)
if(NOT pc)
  message(FATAL_ERROR "qvdatacarrier.pc is not installed")
endif()
find_program(PKG_CONFIG pkg-config)
if(PKG_CONFIG)
  get_filename_component(pcdir ${pc} DIRECTORY)
  set(ENV{PKG_CONFIG_PATH} ${pcdir})
  run("pkg-config" ${PKG_CONFIG} --cflags --libs qvdatacarrier)
  string(REGEX MATCH "-I([^ \n]+)" include_flag "${output}")
  if(NOT EXISTS "${CMAKE_MATCH_1}/datacarrier/renderdrawgeom.h" OR
     NOT output MATCHES "-lqvdatacarrier")
    message(FATAL_ERROR "pkg-config gives: ${output}")
  endif()
endif()
