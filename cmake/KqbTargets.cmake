# One place for warnings and instrumentation, and the functions that make the library's targets.

add_library(kqb_options INTERFACE)
target_compile_options(kqb_options INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -fno-semantic-interposition)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # Sees overlaps inside its own std::string that cannot be.
    target_compile_options(kqb_options INTERFACE -Wno-restrict)
endif()
if(KQB_WERROR)
    target_compile_options(kqb_options INTERFACE -Werror)
endif()
if(KQB_MARCH AND CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
    target_compile_options(kqb_options INTERFACE -march=${KQB_MARCH})
endif()
if(KQB_SANITIZE)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # The instrumentation hides initialisations from it, inside the standard library too.
        target_compile_options(kqb_options INTERFACE -Wno-maybe-uninitialized)
    endif()
    target_compile_options(kqb_options INTERFACE
        -fsanitize=${KQB_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(kqb_options INTERFACE -fsanitize=${KQB_SANITIZE})
endif()
if(KQB_COVERAGE)
    target_compile_options(kqb_options INTERFACE --coverage)
    target_link_options(kqb_options INTERFACE --coverage)
endif()
if(KQB_FUZZ)
    target_compile_options(kqb_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
# Objects serve the shared library, optimised as a whole, and the test programs, linked quickly.
if(KQB_IPO)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        set(KQB_IPO_COMPILE -flto=auto -ffat-lto-objects)
        set(KQB_IPO_LINK -flto=auto)
        set(KQB_NO_IPO_LINK -fno-lto)
    endif()
endif()

set(KQB_BACKENDS "" CACHE INTERNAL "")
set(KQB_FLOORS "" CACHE INTERNAL "")
set(KQB_LIBRARY_MODULES "" CACHE INTERNAL "")

# Sources of one folder as objects.
function(kqb_objects target folder)
    file(GLOB sources CONFIGURE_DEPENDS "${folder}/*.cpp")
    add_library(${target} OBJECT ${sources})
    target_include_directories(${target} PUBLIC
        "${PROJECT_SOURCE_DIR}" "${PROJECT_SOURCE_DIR}/include")
    target_link_libraries(${target} PUBLIC kqb_options)
    target_compile_options(${target} PRIVATE ${KQB_IPO_COMPILE})
endfunction()

# kqb_backend(name libraries...): backends/<name> over third-party libraries.
function(kqb_backend name)
    kqb_objects(kqb_backend_${name} "${PROJECT_SOURCE_DIR}/backends/${name}")
    target_link_libraries(kqb_backend_${name} PUBLIC ${ARGN})
    set(KQB_BACKENDS ${KQB_BACKENDS} kqb_backend_${name} CACHE INTERNAL "")
endfunction()

# kqb_library_module(target file sources...): a module that a back end loads from beside the library
# when it first needs it. Programs made of the library's objects must name KQB_LIBRARY_MODULES as
# dependencies.
function(kqb_library_module target file)
    add_library(${target} MODULE ${ARGN})
    target_include_directories(${target} PRIVATE "${PROJECT_SOURCE_DIR}")
    target_link_libraries(${target} PRIVATE kqb_options)
    set_target_properties(${target} PROPERTIES
        OUTPUT_NAME ${file}
        LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")
    install(TARGETS ${target} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
    set(KQB_LIBRARY_MODULES ${KQB_LIBRARY_MODULES} ${target} CACHE INTERNAL "")
endfunction()

# kqb_floor(name): src/<name>.
function(kqb_floor name)
    kqb_objects(kqb_floor_${name} "${PROJECT_SOURCE_DIR}/src/${name}")
    target_include_directories(kqb_floor_${name} PUBLIC "${PROJECT_SOURCE_DIR}/src")
    set(KQB_FLOORS ${KQB_FLOORS} kqb_floor_${name} CACHE INTERNAL "")
endfunction()

function(kqb_shared_library)
    add_library(kqb SHARED)
    target_link_libraries(kqb PRIVATE ${KQB_FLOORS} ${KQB_BACKENDS})
    add_dependencies(kqb ${KQB_LIBRARY_MODULES})
    target_include_directories(kqb INTERFACE
        "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>"
        "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>"
        "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
    target_compile_features(kqb INTERFACE cxx_std_17)
    set_target_properties(kqb PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION 3)
    target_link_options(kqb PRIVATE
        ${KQB_IPO_LINK}
        "-Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/kqb.map"
        -Wl,-z,nodelete -Wl,-O1 -Wl,--as-needed)
    if(NOT KQB_SANITIZE)
        target_link_options(kqb PRIVATE -Wl,-z,defs)
    endif()
    set_target_properties(kqb PROPERTIES
        LINK_DEPENDS "${PROJECT_SOURCE_DIR}/cmake/kqb.map"
        LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")
    add_library(kqb::kqb ALIAS kqb)
endfunction()
