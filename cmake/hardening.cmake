# What distributions ask of the programs in their packages. Off elsewhere: builds that are compared
# with each other stay as they are.
option(ZTMAKE_HARDENING "Build as the packages are built, hardened" OFF)
if(ZTMAKE_HARDENING)
    set(CMAKE_POSITION_INDEPENDENT_CODE ON)
    add_compile_options(-fstack-protector-strong -fstack-clash-protection -D_FORTIFY_SOURCE=2
        -Wformat -Werror=format-security -fcf-protection
        "-ffile-prefix-map=${PROJECT_SOURCE_DIR}=." "-ffile-prefix-map=${PROJECT_BINARY_DIR}=.")
    add_link_options(-pie -Wl,-z,relro -Wl,-z,now)
endif()
