# The one place for compiler settings; every target of the project links project_warnings.
add_library(project_warnings INTERFACE)
target_compile_options(project_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual)
# False alarms of g++ 12 in std::string.
target_compile_options(project_warnings INTERFACE
    $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict>)
target_compile_definitions(project_warnings INTERFACE QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII)

if(ZTMAKE_WERROR)
    target_compile_options(project_warnings INTERFACE -Werror)
endif()
if(ZTMAKE_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
endif()
if(ZTMAKE_COVERAGE)
    add_compile_options(--coverage -O0)
    add_compile_definitions(ZTMAKE_COVERAGE)
    add_link_options(--coverage)
endif()
if(ZTMAKE_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
