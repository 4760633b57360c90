# Runs the installs, builds the example daemon and the CMake consumer, runs both.
function(run)
  cmake_parse_arguments(R "" "DIR;OUT" "" ${ARGN})
  if(NOT R_DIR)
    set(R_DIR ${WORK})
  endif()
  execute_process(COMMAND ${R_UNPARSED_ARGUMENTS} WORKING_DIRECTORY ${R_DIR}
    RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${R_UNPARSED_ARGUMENTS}\n${out}\n${err}")
  endif()
  if(R_OUT)
    set(${R_OUT} "${out}" PARENT_SCOPE)
  endif()
endfunction()

function(expect_installed present)
  foreach(file ${ARGN})
    if(EXISTS ${prefix}/${file} AND NOT present)
      message(FATAL_ERROR "installed by default, but belongs to the Simulator component: ${file}")
    elseif(NOT EXISTS ${prefix}/${file} AND present)
      message(FATAL_ERROR "not installed: ${file}")
    endif()
  endforeach()
endfunction()

set(prefix ${WORK}/root)
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})
set(host_only ${LIBDIR}/libquorix_common_base.so.1 ${LIBDIR}/quorix/libquorix_common_feature.so
              bin/quorixctl bin/quorix-sim libexec/quorix/sandbox)

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
expect_installed(TRUE include/quorix_common_interface.h ${LIBDIR}/libquorix_common_interface.so.1
  ${LIBDIR}/libquorix_common_interface.so ${LIBDIR}/pkgconfig/quorix_common_interface.pc
  ${LIBDIR}/cmake/QuorixCommonInterface/QuorixCommonInterfaceConfig.cmake)
expect_installed(FALSE ${host_only})
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix} --component Simulator)
expect_installed(TRUE ${host_only})

# The README's command line, as it stands there.
file(STRINGS ${SOURCE_DIR}/README.md readme_line REGEX "^gcc daemon\\.c .*pkg-config")
list(LENGTH readme_line n)
if(NOT n EQUAL 1)
  message(FATAL_ERROR "README: expected one 'gcc daemon.c ... pkg-config ...' line, found ${n}")
endif()
file(COPY ${SOURCE_DIR}/examples/daemon/daemon.c DESTINATION ${WORK})
set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
run(sh -c "${readme_line}")

# The example daemon in the installed simulator, against a fixture.
set(sim ${prefix}/bin/quorix-sim --state ${WORK}/state)
run(${sim} --fresh quorixctl sim load ${prefix}/share/quorix-sim/fixtures/server-2psu-2cpu-12disk.json)
run(${sim} ./daemon OUT out)
set(expected "supplies: 2, input power: 420 W\npsu 0: present, serial QP16A240501701\npsu 1: present, serial QP16A240501702\n")
if(NOT out STREQUAL expected)
  message(FATAL_ERROR "example daemon printed\n${out}\nexpected\n${expected}")
endif()

run(${CMAKE_COMMAND} -S ${CONSUMER_SOURCE} -B ${WORK}/consumer -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build ${WORK}/consumer)
set(ENV{LD_LIBRARY_PATH} ${prefix}/${LIBDIR})
run(${WORK}/consumer/consumer_cmake)
