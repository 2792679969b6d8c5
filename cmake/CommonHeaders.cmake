# BRISKO_PRECOMPILE: headers that nearly every file includes are parsed once a target. For builds that
# check; in daily builds each file has to include what it uses.
option(BRISKO_PRECOMPILE "Precompile the headers that are used everywhere" OFF)

function(brisko_common_headers target)
    if(BRISKO_PRECOMPILE)
        target_precompile_headers(${target} PRIVATE
            <algorithm> <array> <cmath> <cstdint> <cstdio> <cstring> <filesystem> <functional>
            <limits> <memory> <optional> <span> <string> <string_view> <vector> ${ARGN})
        # GCC also warns about what stands in a precompiled header of the system.
        target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-error>)
    endif()
endfunction()
