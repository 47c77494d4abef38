# What every target of this project is compiled with, and none of its users is.
add_library(tq_warnings INTERFACE)
target_compile_options(tq_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
  $<$<BOOL:${TQ_WARNINGS_AS_ERRORS}>:-Werror>
  -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)
