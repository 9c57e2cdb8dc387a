# How a folder of src/ becomes a target, and tests/<folder> its test program.
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

# Makes a target QWAdditions::<folder> of each line of src/LAYERS, and QWAdditions::QWAdditions of them all. A folder
# sees its own headers and those of what it links, and no other: each has an include root that holds a link to that
# folder alone, so an include that points up does not compile.
function(qw_add_folders)
  add_library(QWAdditions INTERFACE)
  add_library(QWAdditions::QWAdditions ALIAS QWAdditions)
  file(STRINGS ${PROJECT_SOURCE_DIR}/src/LAYERS lines REGEX "^[a-z]+:")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/LAYERS)
  set(folders "")
  foreach(line ${lines})
    string(REGEX MATCH "^([a-z]+):([a-z ]*)" _ "${line}")
    set(folder ${CMAKE_MATCH_1})
    string(REGEX MATCHALL "[a-z]+" lower "${CMAKE_MATCH_2}")
    list(TRANSFORM lower PREPEND QWAdditions::)

    set(root ${PROJECT_BINARY_DIR}/include/${folder})
    file(MAKE_DIRECTORY ${root})
    file(CREATE_LINK ${PROJECT_SOURCE_DIR}/src/${folder} ${root}/${folder} SYMBOLIC)
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/${folder}/*.cpp)
    file(GLOB_RECURSE headers CONFIGURE_DEPENDS ${root}/${folder}/*.h)
    add_library(qw_${folder} ${sources} ${QW_EMPTY_SOURCE})
    add_library(QWAdditions::${folder} ALIAS qw_${folder})
    target_sources(qw_${folder} PUBLIC FILE_SET HEADERS BASE_DIRS ${root} FILES ${headers})
    set_target_properties(qw_${folder} PROPERTIES EXPORT_NAME ${folder} VERIFY_INTERFACE_HEADER_SETS ON
      VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
    target_compile_features(qw_${folder} PUBLIC cxx_std_20)
    target_link_libraries(qw_${folder}
      PUBLIC ${lower} ${QW_${folder}_LIBRARIES} Threads::Threads PRIVATE ${QW_${folder}_PRIVATE_LIBRARIES})
    target_link_libraries(QWAdditions INTERFACE qw_${folder})
    list(APPEND folders ${folder})
  endforeach()
  set(QW_FOLDERS ${folders} PARENT_SCOPE)
endfunction()

# Compiles every file below resources/ into the folder, for qw::resource().
function(qw_embed_resources folder)
  file(GLOB_RECURSE files CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/resources/*)
  set(output ${PROJECT_BINARY_DIR}/resources.cpp)
  set(script ${PROJECT_SOURCE_DIR}/cmake/QWEmbed.cmake)
  file(CONFIGURE OUTPUT ${output}.list CONTENT "${files}")  # so that a removed file is noticed
  add_custom_command(OUTPUT ${output} DEPENDS ${files} ${output}.list ${script} VERBATIM
    COMMAND ${CMAKE_COMMAND} -D ROOT=${PROJECT_SOURCE_DIR}/resources -D OUTPUT=${output} -P ${script})
  target_sources(qw_${folder} PRIVATE ${output})
endfunction()

# tests/<folder>/*.cpp become one program, <folder>_test, run in the project's directory. Under ThreadSanitizer it
# holds only the files that have threads.
function(qw_add_tests)
  find_package(GTest REQUIRED)
  add_library(qw_test_precompiled OBJECT ${QW_EMPTY_SOURCE})
  target_link_libraries(qw_test_precompiled PRIVATE GTest::gmock Threads::Threads)
  set_target_properties(qw_test_precompiled PROPERTIES POSITION_INDEPENDENT_CODE OFF)
  target_compile_options(qw_test_precompiled PRIVATE -fPIE)  # as the programs that use it
  target_precompile_headers(qw_test_precompiled PRIVATE <gmock/gmock.h> <gtest/gtest.h>)
  foreach(folder ${QW_FOLDERS})
    file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/${folder}/*.cpp)
    if(QW_SANITIZE STREQUAL "thread")
      foreach(source ${sources})
        file(STRINGS ${source} threads LIMIT_COUNT 1 REGEX "std::j?thread|std::async|SerialQueue|OperationQueue")
        if(source MATCHES "Test\\.cpp$" AND NOT threads)
          list(REMOVE_ITEM sources ${source})
        endif()
      endforeach()
    endif()
    if(sources)
      add_executable(${folder}_test ${sources})
      # Tests check by the libraries' own means what the folder made with them.
      target_link_libraries(${folder}_test
        PRIVATE QWAdditions::${folder} ${QW_${folder}_PRIVATE_LIBRARIES} GTest::gmock_main)
      target_include_directories(${folder}_test PRIVATE ${PROJECT_SOURCE_DIR}/tests)
      target_precompile_headers(${folder}_test REUSE_FROM qw_test_precompiled)
      add_test(NAME ${folder} COMMAND ${folder}_test --gtest_brief=1 WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
    endif()
  endforeach()
  if(NOT QW_SANITIZE)
    add_test(NAME package COMMAND tests/consumer/run.sh ${PROJECT_BINARY_DIR} WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
  endif()
endfunction()
