# SPDX-License-Identifier: MIT
# Installs the built library into a scratch prefix and builds and runs a small
# program against the installed copy, once with the flags pkg-config gives
# for orvex.pc and once through CMake's find_package(Orvex).
#
# -DBUILD_DIR the build tree   -DPREFIX scratch prefix   -DLIBDIR lib dir name
# -DCONSUMER the program's sources   -DCXX compiler   -DFLAGS extra flags
# -DWORK scratch build dir

cmake_minimum_required(VERSION 3.25)

function(run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${what} failed (${rc}):\n${out}\n${err}")
  endif()
  set(OUT "${out}" PARENT_SCOPE)
endfunction()

# The program prints the library version and must load the installed copy.
function(check_program exe how)
  run("${how}: running the program" ${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${PREFIX}/${LIBDIR} ${exe})
  string(STRIP "${OUT}" printed)
  if(NOT printed STREQUAL "7")
    message(FATAL_ERROR "${how}: the program printed '${printed}', not 7")
  endif()
  run("${how}: ldd" ${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${PREFIX}/${LIBDIR} ldd ${exe})
  string(REGEX MATCH "liborvex\\.so\\.1 => [^ ]+" line "${OUT}")
  if(NOT line STREQUAL "liborvex.so.1 => ${PREFIX}/${LIBDIR}/liborvex.so.1")
    message(FATAL_ERROR "${how}: not the installed library: '${line}'")
  endif()
  message(STATUS "${how}: builds, runs, prints 7, loads ${PREFIX}/${LIBDIR}/liborvex.so.1")
endfunction()

file(REMOVE_RECURSE ${PREFIX} ${WORK})
file(MAKE_DIRECTORY ${WORK})
run("cmake --install" ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${PREFIX})

foreach(f include/orvex.h ${LIBDIR}/liborvex.so ${LIBDIR}/liborvex.so.1
          ${LIBDIR}/pkgconfig/orvex.pc ${LIBDIR}/cmake/Orvex/OrvexConfig.cmake
          ${LIBDIR}/cmake/Orvex/OrvexConfigVersion.cmake ${LIBDIR}/cmake/Orvex/OrvexTargets.cmake)
  if(NOT EXISTS ${PREFIX}/${f})
    message(FATAL_ERROR "not installed: ${f}")
  endif()
endforeach()

# pkg-config, as a makefile would use it.
run("pkg-config" ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${PREFIX}/${LIBDIR}/pkgconfig
    pkg-config --cflags --libs orvex)
separate_arguments(pc_flags UNIX_COMMAND "${OUT}")
# The paths it gives, made canonical, lead into the prefix.
set(dirs "")
foreach(flag ${pc_flags})
  if(flag MATCHES "^-[IL](.*)$")
    get_filename_component(dir "${CMAKE_MATCH_1}" REALPATH)
    list(APPEND dirs "${dir}")
  endif()
endforeach()
get_filename_component(prefix_real "${PREFIX}" REALPATH)
if(NOT "${prefix_real}/include" IN_LIST dirs OR NOT "${prefix_real}/${LIBDIR}" IN_LIST dirs)
  message(FATAL_ERROR "orvex.pc does not point into the prefix: ${OUT}")
endif()
separate_arguments(extra UNIX_COMMAND "${FLAGS}")
run("pkg-config: compiling" ${CXX} ${extra} ${CONSUMER}/main.cpp ${pc_flags} -o ${WORK}/consumer_pc)
check_program(${WORK}/consumer_pc "pkg-config")

# find_package(Orvex), target Orvex::orvex.
run("find_package: configure" ${CMAKE_COMMAND} -S ${CONSUMER} -B ${WORK}/cmake
    -DCMAKE_PREFIX_PATH=${PREFIX} -DCMAKE_CXX_COMPILER=${CXX}
    "-DCMAKE_CXX_FLAGS=${FLAGS}" "-DCMAKE_EXE_LINKER_FLAGS=${FLAGS}")
run("find_package: build" ${CMAKE_COMMAND} --build ${WORK}/cmake)
check_program(${WORK}/cmake/consumer "find_package")

# The SDK's examples build against the installed copy too, both ways.
if(EXAMPLES)
  run("examples: find_package configure" ${CMAKE_COMMAND} -S ${EXAMPLES} -B ${WORK}/examples
      -DCMAKE_PREFIX_PATH=${PREFIX} -DCMAKE_CXX_COMPILER=${CXX}
      "-DCMAKE_CXX_FLAGS=${FLAGS}" "-DCMAKE_EXE_LINKER_FLAGS=${FLAGS}")
  run("examples: find_package build" ${CMAKE_COMMAND} --build ${WORK}/examples)
  file(GLOB sources ${EXAMPLES}/*.cpp)
  foreach(src ${sources})
    file(READ ${src} text)
    string(REGEX MATCHALL "OV_[A-Za-z_0-9]+" used "${text}")
    file(READ ${PREFIX}/include/orvex.h header)
    set(ok TRUE)
    foreach(name ${used})
      if(NOT header MATCHES "${name}")
        set(ok FALSE)
      endif()
    endforeach()
    if(ok)
      get_filename_component(name ${src} NAME_WE)
      run("examples: pkg-config ${name}" ${CXX} ${extra} ${src} ${pc_flags} -o ${WORK}/pc_${name})
      message(STATUS "example ${name} builds with pkg-config")
    endif()
  endforeach()
endif()
