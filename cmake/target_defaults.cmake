# Compiler settings of our own targets. They are private: nothing of them reaches a user of the installed
# library.
option(QORV_WARNINGS_AS_ERRORS "Treat compiler warnings as errors" OFF)

function(qorv_target_defaults target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast
    -Wformat=2
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
    $<$<BOOL:${QORV_WARNINGS_AS_ERRORS}>:-Werror>)
endfunction()
