# Installs the build into a folder of its own, moves it, and builds and runs the project in
# SOURCE_DIR against it.

function(run)
  execute_process(COMMAND ${ARGN} COMMAND_ECHO STDOUT RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGN}")
  endif()
endfunction()

set(prefix ${WORK_DIR}/moved)
file(REMOVE_RECURSE ${WORK_DIR}/installed ${prefix} ${WORK_DIR}/build ${WORK_DIR}/pages)
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/installed)
file(RENAME ${WORK_DIR}/installed ${prefix})

run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/build -G Ninja
  -DCMAKE_PREFIX_PATH=${prefix}
  -DCMAKE_CXX_COMPILER=${CXX_COMPILER}
  "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}")
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(${WORK_DIR}/build/consumer)
run(${WORK_DIR}/build/contract)

# The installed command finds its libraries and its worker where they now are.
file(MAKE_DIRECTORY ${WORK_DIR}/pages)
run(${CMAKE_COMMAND} -E env QT_QPA_PLATFORM=offscreen
  ${MAKE_SAMPLE} ${WORK_DIR}/pages/sample.pdf --pages 1)
run(${prefix}/${BINDIR}/pdfconvert ${WORK_DIR}/pages/sample.pdf -o ${WORK_DIR}/pages/sample.png)
if(NOT EXISTS ${WORK_DIR}/pages/sample.png)
  message(FATAL_ERROR "the installed command made no picture")
endif()
