# Which top-level folder of src/ may include which. Dependencies point one way:
#   ui, cli → app → domain folders (metadata, scan, transfer, steward, quickactions, packs) → foundation → platform
# A domain folder reaches another only where its line says so. Each line lists every folder its files may
# include by path ("scan/ScanReport.h"); a folder may always include itself, and a subfolder
# (metadata/sheets, steward/git) keeps its parent's line. Files directly in src/ are the executable's root.
# The lines must not form a circle between folders: that is checked too.
#
# Included at configure time (vantrel_check_include_rules()) and run as a test:
#   cmake -DSOURCE_DIR=<repo>/src -P cmake/IncludeRules.cmake
if(CMAKE_SCRIPT_MODE_FILE)
  cmake_minimum_required(VERSION 3.25)
endif()

set(VANTREL_INCLUDE_RULES
  # folder     : may include
  "platform    :"
  "foundation  : platform"
  "scan        : foundation platform"
  # The handlers report through the scan report model.
  "metadata    : scan foundation platform"
  "transfer    : metadata scan foundation platform"
  "quickactions: foundation platform"
  "steward     : transfer metadata scan foundation platform"
  "packs       : quickactions metadata foundation platform"
  "app         : metadata scan transfer steward quickactions packs foundation platform"
  "cli         : app metadata scan transfer steward quickactions packs foundation platform"
  "ui          : app metadata scan transfer steward quickactions packs foundation platform"
  "tools       : quickactions foundation platform"
  "main.cpp    : *")

# Only these may include QtWidgets: the core must run without a display.
set(VANTREL_WIDGETS_FOLDERS ui main.cpp)
set(_VANTREL_WIDGETS_INCLUDE
    "^(QtWidgets/.*|QApplication|QWidget|QDialog|QMainWindow|QMessageBox|QFileDialog|QSystemTrayIcon|QLabel|QPushButton|QLineEdit|QBoxLayout|QVBoxLayout|QHBoxLayout|QGridLayout|QFormLayout|QMenu|QMenuBar|QAction|QToolButton|QCheckBox|QComboBox|QListWidget|QTreeWidget|QTableWidget|QScrollArea|QStackedWidget|QTabWidget|QProgressBar|QStyle|QFrame|QSplitter)$"
)

# Reads the table into _rules_<folder> (its allowed folders) and _rules_folders (every folder named).
macro(_vantrel_read_include_rules)
  set(_rules_folders "")
  foreach(_line IN LISTS VANTREL_INCLUDE_RULES)
    if(NOT _line MATCHES "^([^ :]+) *:(.*)$")
      message(FATAL_ERROR "cmake/IncludeRules.cmake: cannot read the line \"${_line}\"")
    endif()
    set(_folder "${CMAKE_MATCH_1}")
    separate_arguments(_allowed UNIX_COMMAND "${CMAKE_MATCH_2}")
    if(_folder IN_LIST _rules_folders)
      message(FATAL_ERROR "cmake/IncludeRules.cmake: ${_folder} has two lines")
    endif()
    list(APPEND _rules_folders "${_folder}")
    list(REMOVE_ITEM _allowed "${_folder}")
    set(_rules_${_folder} ${_allowed})
  endforeach()
  # A misspelt folder on the right would silently allow nothing.
  foreach(_folder IN LISTS _rules_folders)
    foreach(_target IN LISTS _rules_${_folder})
      if(NOT _target STREQUAL "*" AND NOT _target IN_LIST _rules_folders)
        message(FATAL_ERROR "cmake/IncludeRules.cmake: ${_folder} may include ${_target}, which has no line")
      endif()
    endforeach()
  endforeach()
endmacro()

# Fails when the table lets folders include each other in a circle, naming the circle. Strips the
# folders that only reach already-stripped ones (platform first); what is left holds a circle.
function(_vantrel_check_rules_acyclic)
  set(left ${_rules_folders})
  set(progress TRUE)
  while(left AND progress)
    set(progress FALSE)
    foreach(folder IN LISTS left)
      set(blocked FALSE)
      foreach(target IN LISTS _rules_${folder})
        if(target IN_LIST left)
          set(blocked TRUE)
          break()
        endif()
      endforeach()
      if(NOT blocked)
        list(REMOVE_ITEM left "${folder}")
        set(progress TRUE)
      endif()
    endforeach()
  endwhile()
  if(NOT left)
    return()
  endif()
  # Every folder left reaches another one left, so walking from any of them must come back round.
  list(GET left 0 folder)
  set(path "")
  while(NOT folder IN_LIST path)
    list(APPEND path "${folder}")
    foreach(target IN LISTS _rules_${folder})
      if(target IN_LIST left)
        set(folder "${target}")
        break()
      endif()
    endforeach()
  endwhile()
  list(FIND path "${folder}" start)
  list(SUBLIST path ${start} -1 circle)
  list(APPEND circle "${folder}")
  list(JOIN circle " → " circle)
  message(FATAL_ERROR "cmake/IncludeRules.cmake: the include table has a circle: ${circle}")
endfunction()

# Sets ${out} to one "src/<file>: <include>" line per include its folder's line does not allow.
function(_vantrel_find_include_violations source_dir out)
  _vantrel_read_include_rules()
  _vantrel_check_rules_acyclic()
  file(GLOB src_entries RELATIVE "${source_dir}" "${source_dir}/*")
  set(src_folders "")
  foreach(entry IN LISTS src_entries)
    if(IS_DIRECTORY "${source_dir}/${entry}")
      list(APPEND src_folders "${entry}")
    endif()
  endforeach()

  list(JOIN VANTREL_WIDGETS_FOLDERS " and " widgets_text)
  set(violations "")
  file(GLOB_RECURSE sources RELATIVE "${source_dir}" "${source_dir}/*.h" "${source_dir}/*.cpp")
  list(SORT sources)
  foreach(source IN LISTS sources)
    string(REGEX MATCH "^[^/]+" folder "${source}")
    if(NOT folder IN_LIST _rules_folders)
      list(APPEND violations "src/${source}: (src/${folder} has no line in cmake/IncludeRules.cmake)")
      continue()
    endif()
    set(allowed ${_rules_${folder}})
    file(STRINGS "${source_dir}/${source}" lines REGEX "^[ \t]*#[ \t]*include[ \t]*[\"<][^\">]+[\">]")
    foreach(line IN LISTS lines)
      string(REGEX REPLACE "^[ \t]*#[ \t]*include[ \t]*[\"<]([^\">]+)[\">].*$" "\\1" included "${line}")
      if(included MATCHES "${_VANTREL_WIDGETS_INCLUDE}")
        if(NOT folder IN_LIST VANTREL_WIDGETS_FOLDERS)
          list(APPEND violations "src/${source}: ${included} (only ${widgets_text} may use QtWidgets)")
        endif()
        continue()
      endif()
      # Only paths into src/ are ruled; "Sibling.h" and library headers are not.
      if(NOT included MATCHES "^([^/]+)/")
        continue()
      endif()
      set(target "${CMAKE_MATCH_1}")
      if(NOT target IN_LIST src_folders AND NOT target IN_LIST _rules_folders)
        continue()
      endif()
      if(target STREQUAL folder OR "*" IN_LIST allowed OR target IN_LIST allowed)
        continue()
      endif()
      list(JOIN allowed " " allowed_text)
      list(APPEND violations "src/${source}: ${included} (${folder} may include: ${allowed_text})")
    endforeach()
  endforeach()
  set(${out} ${violations} PARENT_SCOPE)
endfunction()

function(_vantrel_include_rules_report violations mode)
  list(LENGTH violations count)
  list(JOIN violations "\n  " listing)
  message(${mode} "Includes that break the table in cmake/IncludeRules.cmake (${count}):\n  ${listing}\n"
                  "Move the code to a folder that may reach what it needs, or pass it in from above.")
endfunction()

# Configure time: fails the configure, or only warns while VANTREL_INCLUDE_RULES_WARN_ONLY is on.
function(vantrel_check_include_rules)
  _vantrel_find_include_violations("${PROJECT_SOURCE_DIR}/src" violations)
  if(NOT violations)
    return()
  endif()
  if(VANTREL_INCLUDE_RULES_WARN_ONLY)
    _vantrel_include_rules_report("${violations}" WARNING)
  else()
    _vantrel_include_rules_report("${violations}" FATAL_ERROR)
  endif()
endfunction()

if(CMAKE_SCRIPT_MODE_FILE STREQUAL CMAKE_CURRENT_LIST_FILE)
  if(NOT SOURCE_DIR)
    message(FATAL_ERROR "usage: cmake -DSOURCE_DIR=<repo>/src -P cmake/IncludeRules.cmake")
  endif()
  _vantrel_find_include_violations("${SOURCE_DIR}" violations)
  if(violations)
    _vantrel_include_rules_report("${violations}" FATAL_ERROR)
  endif()
  message(STATUS "every include in ${SOURCE_DIR} keeps the table in cmake/IncludeRules.cmake")
endif()
