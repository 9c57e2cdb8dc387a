# How a floor of src/ becomes a target, and tests/<floor> its test program.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release)
endif()

# Paths below the project are told to ccache and to the compiler as relative ones, so that clones share their cache
# and no binary names the directory it was built in.
find_program(QW_CCACHE ccache)
if(QW_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER env CCACHE_BASEDIR=${PROJECT_SOURCE_DIR} CCACHE_NOHASHDIR=1
    CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime ${QW_CCACHE})
endif()
add_compile_options(-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)

# Some libraries ask for -pthread; a precompiled header fits only if all sources have it.
add_compile_options(-pthread)

add_compile_options(-Wall -Wextra -Wconversion)
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
  # g++ leaves the first out of -Wconversion; the second speaks against typeid(*pointer).
  add_compile_options(-Wno-sign-conversion -Wno-potentially-evaluated-expression)
elseif(CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # Known false alarms of g++ 12 on inlined std::string and initializer lists; AddressSanitizer does their work.
  add_compile_options(-Wno-restrict -Wno-array-bounds -Wno-stringop-overflow -Wno-stringop-overread
    -Wno-free-nonheap-object)
endif()
if(PROJECT_IS_TOP_LEVEL AND NOT QW_SANITIZE)  # instrumented code confuses -Wconversion
  add_compile_options(-Werror)
endif()
if(QW_SANITIZE)
  add_compile_options(-fsanitize=${QW_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${QW_SANITIZE})
endif()

# For targets without a source of their own.
set(QW_EMPTY_SOURCE ${PROJECT_BINARY_DIR}/empty.cpp)
file(CONFIGURE OUTPUT ${QW_EMPTY_SOURCE} CONTENT "")

# What many sources of the libraries include, read once for all of them.
add_library(qw_precompiled OBJECT ${QW_EMPTY_SOURCE})
set_target_properties(qw_precompiled PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
target_link_libraries(qw_precompiled PRIVATE fmt::fmt)
target_precompile_headers(qw_precompiled PRIVATE <algorithm> <chrono> <filesystem> <fmt/format.h> <functional> <map>
  <memory> <optional> <span> <string> <string_view> <unordered_map> <unordered_set> <variant> <vector>)

# Makes a target QWAdditions::<floor> of each floor in src/LAYERS, and QWAdditions::QWAdditions of them all. A floor sees
# its own headers and those of what it links, and no other: each has an include root that holds a link to that floor's
# folder alone, so an include that points up does not compile.
#
# With static libraries a floor is one. With shared libraries all are one, libQWAdditions.so, so that floors can use what
# is hidden from programs; the floors' targets then say what may be included and link that library.
function(qw_add_floors)
  add_library(QWAdditions INTERFACE)
  add_library(QWAdditions::QWAdditions ALIAS QWAdditions)
  set(objects "")
  if(BUILD_SHARED_LIBS)
    set(objects _objects)
    add_library(qw_library SHARED ${QW_EMPTY_SOURCE})
    set_target_properties(qw_library PROPERTIES OUTPUT_NAME QWAdditions EXPORT_NAME library
      VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
  endif()
  file(STRINGS ${PROJECT_SOURCE_DIR}/src/LAYERS lines REGEX "^[a-z]+:")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/LAYERS)
  set(floors "")
  foreach(line ${lines})
    string(REGEX MATCH "^([a-z]+):([a-z ]*)" _ "${line}")
    set(floor ${CMAKE_MATCH_1})
    string(REGEX MATCHALL "[a-z]+" lower "${CMAKE_MATCH_2}")
    list(TRANSFORM lower PREPEND qw_)

    set(root ${PROJECT_BINARY_DIR}/include/${floor})
    file(MAKE_DIRECTORY ${root})
    file(CREATE_LINK ${PROJECT_SOURCE_DIR}/src/${floor} ${root}/${floor} SYMBOLIC)
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/${floor}/*.cpp)
    file(GLOB_RECURSE headers CONFIGURE_DEPENDS ${root}/${floor}/*.h)
    list(FILTER headers EXCLUDE REGEX "/internal/")

    set(compiled qw_${floor}${objects})
    if(BUILD_SHARED_LIBS)
      add_library(${compiled} OBJECT ${sources} ${QW_EMPTY_SOURCE})
      target_link_libraries(qw_library PRIVATE ${compiled})
      add_library(qw_${floor} INTERFACE)
      target_link_libraries(qw_${floor} INTERFACE ${lower} qw_library ${QW_${floor}_LIBRARIES} Threads::Threads)
      target_compile_features(qw_${floor} INTERFACE cxx_std_20)
      list(TRANSFORM lower APPEND ${objects})
    else()
      add_library(${compiled} STATIC ${sources} ${QW_EMPTY_SOURCE})
    endif()
    target_include_directories(${compiled} PUBLIC $<BUILD_INTERFACE:${root}>)
    target_compile_features(${compiled} PUBLIC cxx_std_20)
    target_link_libraries(${compiled}
      PUBLIC ${lower} ${QW_${floor}_LIBRARIES} Threads::Threads PRIVATE ${QW_${floor}_PRIVATE_LIBRARIES})
    set_target_properties(${compiled} PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
    target_precompile_headers(${compiled} REUSE_FROM qw_precompiled)

    add_library(QWAdditions::${floor} ALIAS qw_${floor})
    target_sources(qw_${floor} INTERFACE FILE_SET HEADERS BASE_DIRS ${root} FILES ${headers})
    set_target_properties(qw_${floor} PROPERTIES EXPORT_NAME ${floor} VERIFY_INTERFACE_HEADER_SETS ON)
    target_link_libraries(QWAdditions INTERFACE qw_${floor})
    list(APPEND floors ${floor})
  endforeach()
  set(QW_FLOORS ${floors} PARENT_SCOPE)
  set(QW_OBJECTS "${objects}" PARENT_SCOPE)  # qw_<floor>${QW_OBJECTS} is what compiles a floor's sources
endfunction()

# Compiles every file below resources/ into the floor, for qw::resource().
function(qw_embed_resources floor)
  file(GLOB_RECURSE files CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/resources/*)
  set(output ${PROJECT_BINARY_DIR}/resources.cpp)
  set(script ${PROJECT_SOURCE_DIR}/cmake/QWEmbed.cmake)
  file(CONFIGURE OUTPUT ${output}.list CONTENT "${files}")  # so that a removed file is noticed
  add_custom_command(OUTPUT ${output} DEPENDS ${files} ${output}.list ${script} VERBATIM
    COMMAND ${CMAKE_COMMAND} -D ROOT=${PROJECT_SOURCE_DIR}/resources -D OUTPUT=${output} -P ${script})
  target_sources(qw_${floor}${QW_OBJECTS} PRIVATE ${output})
endfunction()

# Lets ctest list and run each test of a program, in the project's directory. With a limit, since a test that waits for
# what never comes would hold up everything; the sanitizers and a busy machine need room.
function(qw_discover_tests program name)
  gtest_discover_tests(${program} TEST_PREFIX ${name}. WORKING_DIRECTORY ${PROJECT_SOURCE_DIR} DISCOVERY_MODE PRE_TEST
    DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300 ${ARGN})
endfunction()

# tests/<floor>/*.cpp become one program, <floor>_test. Under ThreadSanitizer it holds only the files that have threads,
# and with shared libraries not those that include what is hidden.
function(qw_add_tests)
  add_library(qw_test_precompiled OBJECT ${QW_EMPTY_SOURCE})
  target_link_libraries(qw_test_precompiled PRIVATE GTest::gmock Threads::Threads)
  set_target_properties(qw_test_precompiled PROPERTIES POSITION_INDEPENDENT_CODE OFF)
  target_compile_options(qw_test_precompiled PRIVATE -fPIE)  # as the programs that use it
  target_precompile_headers(qw_test_precompiled PRIVATE <gmock/gmock.h> <gtest/gtest.h>)
  foreach(floor ${QW_FLOORS})
    file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/${floor}/*.cpp)
    foreach(source ${sources})
      file(STRINGS ${source} threads LIMIT_COUNT 1 REGEX "std::j?thread|std::async|SerialQueue|OperationQueue")
      file(STRINGS ${source} hidden LIMIT_COUNT 1 REGEX "#include \".*/internal/")
      if(source MATCHES "Test\\.cpp$" AND
          ((QW_SANITIZE STREQUAL "thread" AND NOT threads) OR (BUILD_SHARED_LIBS AND hidden)))
        list(REMOVE_ITEM sources ${source})
      endif()
    endforeach()
    if(sources)
      add_executable(${floor}_test ${sources})
      # Tests check by the libraries' own means what the floor made with them.
      target_link_libraries(${floor}_test
        PRIVATE QWAdditions::${floor} ${QW_${floor}_PRIVATE_LIBRARIES} GTest::gmock_main)
      target_include_directories(${floor}_test PRIVATE ${PROJECT_SOURCE_DIR}/tests)
      target_precompile_headers(${floor}_test REUSE_FROM qw_test_precompiled)
      qw_discover_tests(${floor}_test ${floor})
    endif()
  endforeach()
  if(NOT QW_SANITIZE)
    add_test(NAME package COMMAND tests/consumer/run.sh ${PROJECT_BINARY_DIR} WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
    set_tests_properties(package PROPERTIES TIMEOUT 600)
  endif()
endfunction()
