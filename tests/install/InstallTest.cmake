# SPDX-License-Identifier: GPL-3.0-or-later
# Installs the build in BUILD_FOLDER below FOLDER, moves it, and asks the runner there for its elements.

file(REMOVE_RECURSE "${FOLDER}" "${FOLDER}-moved")
execute_process(COMMAND ${CMAKE_COMMAND} --install "${BUILD_FOLDER}" --prefix "${FOLDER}"
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
file(RENAME "${FOLDER}" "${FOLDER}-moved")

# Neither the environment nor the build tree may help.
unset(ENV{LD_LIBRARY_PATH})
unset(ENV{ZUVIEWER_PLUGIN_PATH})
execute_process(COMMAND "${FOLDER}-moved/${BIN}/zurun" elements
    WORKING_DIRECTORY / OUTPUT_VARIABLE elements COMMAND_ERROR_IS_FATAL ANY)
if(NOT elements MATCHES "org\\.zuviewer\\.CzExtractChannelCnbl")
    message(FATAL_ERROR "The installed runner found no plug-in: '${elements}'")
endif()

file(GLOB_RECURSE binaries "${FOLDER}-moved/${BIN}/*" "${FOLDER}-moved/${LIB}/*.so*")
foreach(binary IN LISTS binaries)
    file(READ_ELF "${binary}" RUNPATH paths)
    if(NOT paths MATCHES "^[$]ORIGIN/[^:]*$")
        message(FATAL_ERROR "${binary} looks for libraries in '${paths}'")
    endif()
endforeach()

# What plug-ins are built with, and the licences of all that was installed.
foreach(name IN ITEMS ${INCLUDE}/zuCore/Plugin.h ${LIB}/libzuCore.so ${DOC}/LICENSE ${DOC}/LICENSES/Apache-2.0.txt
        ${DOC}/LICENSES/CC0-1.0.txt ${DOC}/LICENSES/LicenseRef-Matplotlib.txt)
    if(NOT EXISTS "${FOLDER}-moved/${name}")
        message(FATAL_ERROR "${name} is not installed")
    endif()
endforeach()
file(REMOVE_RECURSE "${FOLDER}-moved")
