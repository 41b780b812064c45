# Does what docs/guides/getting-started.md says, in a folder of its own: installs, copies the two
# files, builds them and converts DOCUMENT.

function(run)
  execute_process(COMMAND ${ARGN} WORKING_DIRECTORY ${WORK_DIR} RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGN}")
  endif()
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
file(COPY ${GUIDE}/CMakeLists.txt ${GUIDE}/main.cpp DESTINATION ${WORK_DIR})
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/installed)
run(${CMAKE_COMMAND} -B build -G Ninja -DCMAKE_PREFIX_PATH=${WORK_DIR}/installed
  -DCMAKE_CXX_COMPILER=${CXX_COMPILER})
run(${CMAKE_COMMAND} --build build)
run(build/getting-started ${DOCUMENT} geheim page.png)
if(NOT EXISTS ${WORK_DIR}/page.png)
  message(FATAL_ERROR "no picture")
endif()
file(REMOVE_RECURSE ${WORK_DIR})
