# How a room of the house is built: every target gets the same warnings, sanitizers and include root.

function(tarvo_target_options target)
    tarvo_watch_sources(${target})
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
        -Woverloaded-virtual -Wconversion -Wno-sign-conversion -Werror=return-type)
    target_compile_definitions(${target} PRIVATE QT_NO_KEYWORDS QT_NO_CAST_TO_ASCII TARVO_VERSION="${PROJECT_VERSION}")
    if(TARVO_SANITIZE)
        target_compile_options(${target} PUBLIC -fsanitize=${TARVO_SANITIZE} -fno-omit-frame-pointer)
        target_link_options(${target} PUBLIC -fsanitize=${TARVO_SANITIZE})
    endif()
endfunction()

# moc does not notice that a folder has more or fewer sources than before: then it is made to look again.
function(tarvo_watch_sources target)
    get_target_property(sources ${target} SOURCES)
    set(known ${CMAKE_CURRENT_BINARY_DIR}/${target}.sources)
    set(before "")
    if(EXISTS ${known})
        file(READ ${known} before)
    endif()
    if(NOT before STREQUAL "${sources}")
        file(WRITE ${known} "${sources}")
        file(REMOVE ${CMAKE_CURRENT_BINARY_DIR}/${target}_autogen/timestamp)
    endif()
endfunction()

# tarvo_library(NAME LINKS…): the static library of the current folder, made of all its sources.
# What it links is what it may include.
function(tarvo_library name)
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS *.cpp *.h)
    list(FILTER sources EXCLUDE REGEX "/main[.]cpp$") # the programs are made of the libraries
    add_library(${name} STATIC ${sources})
    target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(${name} PUBLIC ${ARGN})
    tarvo_target_options(${name})
endfunction()
