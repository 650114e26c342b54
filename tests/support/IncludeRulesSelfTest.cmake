# The include checker must refuse what it is there to refuse: builds small source trees and an edited
# table in WORK_DIR and runs cmake/IncludeRules.cmake on them.
#   cmake -DRULES=<repo>/cmake/IncludeRules.cmake -DWORK_DIR=<dir> -P IncludeRulesSelfTest.cmake
cmake_minimum_required(VERSION 3.25)

file(REMOVE_RECURSE "${WORK_DIR}")

function(run_rules rules source_dir out_rc out_text)
  execute_process(COMMAND ${CMAKE_COMMAND} -DSOURCE_DIR=${source_dir} -P ${rules}
                  RESULT_VARIABLE rc OUTPUT_VARIABLE text ERROR_VARIABLE text)
  # The report wraps long lines; join them back so a listed entry reads as one.
  string(REGEX REPLACE "\n  +" " " text "${text}")
  set(${out_rc} ${rc} PARENT_SCOPE)
  set(${out_text} "${text}" PARENT_SCOPE)
endfunction()

# expect(<message> <condition>...): fails with the message unless the condition holds.
function(expect what)
  if(NOT (${ARGN}))
    message(FATAL_ERROR "${what}")
  endif()
endfunction()

# A tree that keeps the table passes.
set(clean "${WORK_DIR}/clean")
file(WRITE "${clean}/platform/Paths.h" "#pragma once\n#include <QString>\n")
file(WRITE "${clean}/foundation/Workflow.h" "#include \"platform/Paths.h\"\n#include \"Sibling.h\"\n")
file(WRITE "${clean}/metadata/sheets/Sheet.cpp" "#include \"scan/ScanReport.h\"\n#include \"metadata/Category.h\"\n")
file(WRITE "${clean}/ui/shell/MainWindow.cpp" "#include \"app/AppState.h\"\n#include <QMainWindow>\n")
file(WRITE "${clean}/main.cpp" "#include \"ui/shell/AppController.h\"\n#include \"cli/HeadlessRun.h\"\n#include <QApplication>\n")
run_rules("${RULES}" "${clean}" rc text)
expect("a tree that keeps the table was refused:\n${text}" rc EQUAL 0)

# Each kind of break is listed by file and include, and fails the run.
set(broken "${WORK_DIR}/broken")
file(COPY "${clean}/" DESTINATION "${broken}")
file(WRITE "${broken}/metadata/sheets/Bad.cpp" "#include \"app/AppState.h\"\n")
file(WRITE "${broken}/transfer/stitch/Bad.cpp" "  #  include \"app/AppState.h\"\n")
file(WRITE "${broken}/ui/pages/Bad.cpp" "#include \"cli/HeadlessRun.h\"\n")
file(WRITE "${broken}/scan/Bad.h" "#include <QtWidgets/QLabel>\n")
file(WRITE "${broken}/app/Bad.cpp" "#include <QWidget>\n")
file(WRITE "${broken}/stray/Thing.h" "#pragma once\n")
run_rules("${RULES}" "${broken}" rc text)
expect("a tree that breaks the table was accepted:\n${text}" NOT rc EQUAL 0)
foreach(entry
    "src/metadata/sheets/Bad.cpp: app/AppState.h"
    "src/transfer/stitch/Bad.cpp: app/AppState.h"
    "src/ui/pages/Bad.cpp: cli/HeadlessRun.h"
    "src/scan/Bad.h: QtWidgets/QLabel"
    "src/app/Bad.cpp: QWidget"
    "src/stray/Thing.h: (src/stray has no line")
  string(FIND "${text}" "${entry}" at)
  expect("the report does not list \"${entry}\":\n${text}" NOT at EQUAL -1)
endforeach()
foreach(allowed "Sheet.cpp" "MainWindow.cpp" "main.cpp" "Workflow.h")
  string(FIND "${text}" "/${allowed}:" at)
  expect("the report lists ${allowed}, which keeps the table:\n${text}" at EQUAL -1)
endforeach()

# A table edited into a circle is refused even for a clean tree, and the circle is named.
file(READ "${RULES}" table)
string(REPLACE "\"platform    :\"" "\"platform    : metadata\"" circular "${table}")
expect("the platform line was not found in ${RULES}" NOT circular STREQUAL table)
file(WRITE "${WORK_DIR}/Circular.cmake" "${circular}")
run_rules("${WORK_DIR}/Circular.cmake" "${clean}" rc text)
expect("a table with a circle was accepted:\n${text}" NOT rc EQUAL 0)
string(FIND "${text}" "has a circle: " at)
expect("the circle is not named:\n${text}" NOT at EQUAL -1)
string(REGEX MATCH "has a circle: [^\n]*" circle "${text}")
foreach(folder platform metadata)
  string(FIND "${circle}" "${folder}" at)
  expect("the circle misses ${folder}: ${circle}" NOT at EQUAL -1)
endforeach()

message(STATUS "the include checker refuses breaks and circles and passes a clean tree")
