# The interpreters that the module is built for. Each is asked itself where its headers are and
# how its extensions are called, because CMake's own modules know neither the older ones nor
# several at a time.
#
# Sets FUS_PYTHON_TAGS (cp36;cp311...), and for each tag FUS_PYTHON_<tag>_EXECUTABLE, _VERSION
# (3.6), _INCLUDE_DIR, _EXT_SUFFIX and _LIBRARY (empty where extensions link no library).
#
# When cross-compiling no interpreter can be asked: FUS_PYTHON_VERSION, FUS_PYTHON_INCLUDE_DIR,
# FUS_PYTHON_EXT_SUFFIX (for example .cp36-win_amd64.pyd) and FUS_PYTHON_LIBRARY (the import
# library) say it instead.

set(FUS_PYTHON_VERSION "" CACHE STRING "Cross-compiling: major.minor of the target's Python")
set(FUS_PYTHON_INCLUDE_DIR "" CACHE PATH "Cross-compiling: headers of the target's Python")
set(FUS_PYTHON_EXT_SUFFIX "" CACHE STRING "Cross-compiling: suffix of the target's extensions")
set(FUS_PYTHON_LIBRARY "" CACHE FILEPATH "Import library of Python, where the system needs one")
mark_as_advanced(FUS_PYTHON_VERSION FUS_PYTHON_INCLUDE_DIR FUS_PYTHON_EXT_SUFFIX
    FUS_PYTHON_LIBRARY)

set(FUS_PYTHON_QUERY [[
import os, sys, sysconfig
get = sysconfig.get_config_var
version = "%d.%d" % sys.version_info[:2]
library = ""
if os.name == "nt":
    library = os.path.join(sys.base_prefix, "libs", "python%s.lib" % version.replace(".", ""))
print(";".join([version, sysconfig.get_paths()["include"], get("EXT_SUFFIX") or get("SO"),
                library]).replace(os.sep, "/"))
]])

set(FUS_PYTHON_TAGS "")

macro(fus_add_interpreter executable version include_dir ext_suffix library)
    string(REPLACE "." "" tag "cp${version}")
    if(tag IN_LIST FUS_PYTHON_TAGS)
        message(STATUS "Python ${version}: ${executable} left out, "
            "${FUS_PYTHON_${tag}_EXECUTABLE} is of the same version")
    else()
        if(NOT EXISTS "${include_dir}/Python.h")
            message(FATAL_ERROR "${executable} has no headers (${include_dir}/Python.h): "
                "install its development package, or configure with -DFUS_BUILD_PYTHON=OFF")
        endif()
        list(APPEND FUS_PYTHON_TAGS ${tag})
        set(FUS_PYTHON_${tag}_EXECUTABLE "${executable}")
        set(FUS_PYTHON_${tag}_VERSION "${version}")
        set(FUS_PYTHON_${tag}_INCLUDE_DIR "${include_dir}")
        set(FUS_PYTHON_${tag}_EXT_SUFFIX "${ext_suffix}")
        set(FUS_PYTHON_${tag}_LIBRARY "${library}")
        message(STATUS "Python ${version}: ${executable}")
    endif()
endmacro()

function(fus_ask_interpreter executable variable)
    execute_process(COMMAND "${executable}" -c "${FUS_PYTHON_QUERY}"
        OUTPUT_VARIABLE answer RESULT_VARIABLE result OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "${executable} is no Python interpreter that runs: ${result}")
    endif()
    set(${variable} "${answer}" PARENT_SCOPE)
endfunction()

function(fus_default_interpreter variable)
    find_program(FUS_SYSTEM_PYTHON python3 HINTS /usr/bin NO_CMAKE_PATH)
    mark_as_advanced(FUS_SYSTEM_PYTHON)
    if(EXISTS /usr/bin/python3)
        set(${variable} /usr/bin/python3 PARENT_SCOPE)
    elseif(FUS_SYSTEM_PYTHON)
        set(${variable} "${FUS_SYSTEM_PYTHON}" PARENT_SCOPE)
    else()
        message(FATAL_ERROR "No python3 found: set FUS_PYTHON_EXECUTABLE, "
            "or configure with -DFUS_BUILD_PYTHON=OFF")
    endif()
endfunction()

if(FUS_BUILD_PYTHON)
    if(FUS_PYTHON_INCLUDE_DIR)
        fus_add_interpreter("" "${FUS_PYTHON_VERSION}" "${FUS_PYTHON_INCLUDE_DIR}"
            "${FUS_PYTHON_EXT_SUFFIX}" "${FUS_PYTHON_LIBRARY}")
    else()
        set(interpreters ${FUS_PYTHON_EXECUTABLE} ${FUS_PYTHON_EXECUTABLES})
        if(NOT interpreters)
            fus_default_interpreter(interpreters)
        endif()
        foreach(interpreter IN LISTS interpreters)
            fus_ask_interpreter("${interpreter}" answer)
            list(GET answer 0 version)
            list(GET answer 1 include_dir)
            list(GET answer 2 ext_suffix)
            list(GET answer 3 library)
            if(FUS_PYTHON_LIBRARY)
                set(library "${FUS_PYTHON_LIBRARY}")
            endif()
            fus_add_interpreter("${interpreter}" "${version}" "${include_dir}" "${ext_suffix}"
                "${library}")
        endforeach()
    endif()
endif()
