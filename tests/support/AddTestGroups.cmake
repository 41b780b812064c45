# Run when a test program has been built: tells ctest its groups of cases, a test each.
# With ENGINES each is one for each engine of the worker, which the environment names.
# usage: cmake -D PROGRAM=path -D NAME=name -D LABELS=labels [-D ENGINES=pdfium,qt] -D OUTPUT=file
#   -P AddTestGroups.cmake
execute_process(COMMAND ${PROGRAM} --gtest_list_tests
  OUTPUT_VARIABLE listed TIMEOUT 60 COMMAND_ERROR_IS_FATAL ANY)

# "Group." or "Group.  # TypeParam = ..." stands at the beginning of a line, its cases are indented.
string(REGEX MATCHALL "\n[^ \n][^ \n]*\\.[ \n]" groups "\n${listed}")
set(script "")
function(add_group group engine)
  set(test "${NAME}.${group}")
  if(engine)
    set(test "${NAME}.${engine}.${group}")
    # The words of a fixture that runs none of its cases, so no failure is taken for this.
    set(environment " ENVIRONMENT ENGINE=${engine} SKIP_REGULAR_EXPRESSION [=[no case runs: there is no]=]")
  endif()
  string(APPEND script "add_test([=[${test}]=] [=[${PROGRAM}]=]"
    " --gtest_brief=1 [=[--gtest_filter=${group}*]=])\n"
    "set_tests_properties([=[${test}]=] PROPERTIES TIMEOUT 900 LABELS [=[${LABELS}]=]${environment})\n")
  set(script "${script}" PARENT_SCOPE)
endfunction()
string(REPLACE "," ";" engines "${ENGINES}")
foreach(group IN LISTS groups)
  string(STRIP "${group}" group)
  if(engines)
    foreach(engine IN LISTS engines)
      add_group("${group}" ${engine})
    endforeach()
  else()
    add_group("${group}" "")
  endif()
endforeach()
string(REPLACE ".]=]" "]=]" script "${script}")
file(WRITE ${OUTPUT} "${script}")
