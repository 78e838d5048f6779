# Compile options shared by every target of the project.
#
# -ffp-contract=off is not negotiable: the library's float arithmetic is specified
# operation by operation, and a fused multiply-add changes results in the last bit.
# Fast-math is never used for the same reason.

add_library(qorsc_compile_options INTERFACE)
target_compile_options(qorsc_compile_options INTERFACE
  -Wall -Wextra -Werror -ffp-contract=off -fno-fast-math)

# The one family of warning exceptions: GCC 12 reports impossible overflows and
# overreads inside boost::container::small_vector's growth and move paths (known
# false positives of -Wstringop-overflow/-overread with inlined allocation).
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(qorsc_compile_options INTERFACE
    -Wno-stringop-overflow -Wno-stringop-overread)
endif()

if(QORSC_SANITIZE)
  target_compile_options(qorsc_compile_options INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  target_link_options(qorsc_compile_options INTERFACE -fsanitize=address,undefined)
endif()

# qorsc_target_defaults(<target>): apply the project's options to one target.
function(qorsc_target_defaults target)
  target_link_libraries(${target} PRIVATE qorsc_compile_options)
endfunction()
