# BRISKO_SANITIZE: a list for -fsanitize, for example "address,undefined" or "thread".
set(BRISKO_SANITIZE "" CACHE STRING "Sanitizers to build everything with")

if(BRISKO_SANITIZE)
    add_compile_options(-fsanitize=${BRISKO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${BRISKO_SANITIZE})
    if(BRISKO_SANITIZE MATCHES "undefined")
        add_compile_options(-fsanitize=float-cast-overflow)
        add_link_options(-fsanitize=float-cast-overflow)
    endif()
endif()
