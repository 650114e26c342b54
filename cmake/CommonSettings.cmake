# One place for the settings every target of the project shares.
add_library(vantrel_settings INTERFACE)
target_compile_features(vantrel_settings INTERFACE cxx_std_20)
target_compile_options(vantrel_settings INTERFACE -Wall -Wextra -Wpedantic)
# GCC 12 reports members of a std::optional copied at -O2 as maybe-uninitialized
# where they plainly are not; the warning stays on in Debug builds.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(vantrel_settings INTERFACE $<$<NOT:$<CONFIG:Debug>>:-Wno-maybe-uninitialized>)
endif()
if(VANTREL_WERROR)
  target_compile_options(vantrel_settings INTERFACE -Werror)
endif()
target_compile_definitions(vantrel_settings INTERFACE
  QT_USE_QSTRINGBUILDER
  QT_NO_NARROWING_CONVERSIONS_IN_CONNECT
  QT_NO_URL_CAST_FROM_STRING
  VANTREL_VERSION="${PROJECT_VERSION}")
target_include_directories(vantrel_settings INTERFACE ${PROJECT_SOURCE_DIR}/src)
