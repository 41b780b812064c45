# Run when a test program has been built: tells ctest its groups of cases, a test each.
# usage: cmake -D PROGRAM=path -D NAME=name -D LABELS=labels -D OUTPUT=file -P AddTestGroups.cmake
execute_process(COMMAND ${PROGRAM} --gtest_list_tests
  OUTPUT_VARIABLE listed TIMEOUT 60 COMMAND_ERROR_IS_FATAL ANY)

# "Group." or "Group.  # TypeParam = ..." stands at the beginning of a line, its cases are indented.
string(REGEX MATCHALL "\n[^ \n][^ \n]*\\.[ \n]" groups "\n${listed}")
set(script "")
foreach(group IN LISTS groups)
  string(STRIP "${group}" group)
  string(APPEND script "add_test([=[${NAME}.${group}]=] [=[${PROGRAM}]=]"
    " --gtest_brief=1 [=[--gtest_filter=${group}*]=])\n"
    "set_tests_properties([=[${NAME}.${group}]=] PROPERTIES TIMEOUT 900 LABELS [=[${LABELS}]=])\n")
endforeach()
string(REPLACE ".]=]" "]=]" script "${script}")
file(WRITE ${OUTPUT} "${script}")
