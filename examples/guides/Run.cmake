# Runs a program, which has to end with RESULT and to print what matches OUTPUT.
# usage: cmake -D RESULT=0 -D OUTPUT=regex -P Run.cmake -- PROGRAM argument ...

set(command "")
set(isCommand OFF)
foreach(number RANGE 1 ${CMAKE_ARGC})
  if(isCommand)
    list(APPEND command "${CMAKE_ARGV${number}}")
  elseif("${CMAKE_ARGV${number}}" STREQUAL "--")
    set(isCommand ON)
  endif()
endforeach()

execute_process(COMMAND ${command} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
if(NOT result STREQUAL RESULT OR NOT output MATCHES "${OUTPUT}")
  message(FATAL_ERROR "${command} ended with ${result}, and printed:\n${output}")
endif()
