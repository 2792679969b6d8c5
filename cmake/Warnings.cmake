# Every target of this project compiles without warnings, on GCC and on Clang.
function(brisko_warnings target)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wconversion -Wshadow -Werror
        # GCC 12 takes "literal" + std::string for an overlapping copy when it optimises.
        $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
        # Results are the same to the bit on every machine: no fused multiply-add behind our back.
        -ffp-contract=off)
endfunction()
