# Run as a script: writes BuildInfo.h, unless it already carries this version and revision, so
# that the date is the one of the first build of a revision.
# Takes SOURCE_DIR, VERSION, TEMPLATE, HEADER.

set(BRANCH "unknown")
set(DIGITS "000000000000")
find_program(GIT git)
if(GIT)
    execute_process(COMMAND "${GIT}" rev-parse --verify --quiet HEAD
        WORKING_DIRECTORY "${SOURCE_DIR}" OUTPUT_VARIABLE hash RESULT_VARIABLE result
        OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    # A tree that was unpacked below somebody else's repository isn't that repository's.
    execute_process(COMMAND "${GIT}" rev-parse --show-toplevel
        WORKING_DIRECTORY "${SOURCE_DIR}" OUTPUT_VARIABLE top
        OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    get_filename_component(top "${top}" REALPATH)
    get_filename_component(source "${SOURCE_DIR}" REALPATH)
    if(result EQUAL 0 AND top STREQUAL source)
        string(SUBSTRING "${hash}" 0 12 DIGITS)
        execute_process(COMMAND "${GIT}" symbolic-ref --short --quiet HEAD
            WORKING_DIRECTORY "${SOURCE_DIR}" OUTPUT_VARIABLE BRANCH RESULT_VARIABLE result
            OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
        if(NOT result EQUAL 0)
            set(BRANCH "detached")
        endif()
    endif()
endif()
set(REVISION "${BRANCH}_${DIGITS}")

string(TIMESTAMP TIMESTAMP "%s" UTC)
string(TIMESTAMP DATE "%Y-%m-%d %H:%M:%S UTC" UTC)
string(TIMESTAMP TIMESTAMP_AFTER "%s" UTC)
while(NOT TIMESTAMP STREQUAL TIMESTAMP_AFTER)
    # The second turned between the two readings.
    string(TIMESTAMP TIMESTAMP "%s" UTC)
    string(TIMESTAMP DATE "%Y-%m-%d %H:%M:%S UTC" UTC)
    string(TIMESTAMP TIMESTAMP_AFTER "%s" UTC)
endwhile()

if(EXISTS "${HEADER}" AND NOT "${TEMPLATE}" IS_NEWER_THAN "${HEADER}")
    file(READ "${HEADER}" stamped)
    string(FIND "${stamped}" "\"${VERSION}\"" version_found)
    string(FIND "${stamped}" "\"${REVISION}\"" revision_found)
    if(NOT version_found EQUAL -1 AND NOT revision_found EQUAL -1)
        return()
    endif()
endif()
configure_file("${TEMPLATE}" "${HEADER}" @ONLY)
