# Does what docs/guides say, in a folder of its own: installs the library, builds the project of the
# first guide and converts DOCUMENT, builds the project of the others and runs what needs nothing.

function(run)
  execute_process(COMMAND ${ARGN} WORKING_DIRECTORY ${WORK_DIR} RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGN}")
  endif()
endfunction()

if(LAUNCHER)
  set(launcher -DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER})
endif()

function(build project)
  run(${CMAKE_COMMAND} -S ${project} -B ${project}/build -G Ninja
    -DCMAKE_PREFIX_PATH=${WORK_DIR}/installed -DCMAKE_CXX_COMPILER=${CXX_COMPILER} ${launcher})
  run(${CMAKE_COMMAND} --build ${project}/build)
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/installed)

file(COPY ${GUIDES}/getting-started DESTINATION ${WORK_DIR})
build(getting-started)
run(getting-started/build/getting-started ${DOCUMENT} page.png)
if(NOT EXISTS ${WORK_DIR}/page-1.png)
  message(FATAL_ERROR "no picture")
endif()

file(GLOB sources ${GUIDES}/*.h ${GUIDES}/*.cpp)
file(COPY ${sources} ${GUIDES}/project/CMakeLists.txt DESTINATION ${WORK_DIR}/guides)
build(guides)
foreach(program ownership-and-threads writing-a-converter writing-a-wrapper
    moving-to-your-own-services)
  run(guides/build/${program})
endforeach()
file(REMOVE_RECURSE ${WORK_DIR})
