# GTest::gtest and GTest::gtest_main: the installed library, or, where there is none for the target
# (as when cross-compiling), one that is built from sources.

find_package(GTest QUIET)
if(NOT TARGET GTest::gtest_main)
    # Debian's libgtest-dev puts them there
    find_path(FUS_GTEST_SOURCE_DIR googletest/src/gtest-all.cc
        PATHS /usr/src/googletest NO_CMAKE_FIND_ROOT_PATH
        DOC "Sources of GoogleTest, the directory that holds googletest/")
    if(NOT FUS_GTEST_SOURCE_DIR)
        message(FATAL_ERROR "GoogleTest not found: install libgtest-dev, set FUS_GTEST_SOURCE_DIR "
            "to its sources, or configure with -DFUS_BUILD_TESTS=OFF")
    endif()
    set(BUILD_GMOCK OFF CACHE INTERNAL "")
    set(INSTALL_GTEST OFF CACHE INTERNAL "")
    set(gtest_force_shared_crt ON CACHE INTERNAL "") # the library's own choice on Windows
    add_subdirectory("${FUS_GTEST_SOURCE_DIR}" "${PROJECT_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL)
endif()
