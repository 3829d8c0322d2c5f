# Compresses, in what is about to be packed, what Debian wants compressed. The time stamps stay out of it, so that the
# same sources make the same package.
file(GLOB_RECURSE files ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/usr/share/man/* ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/CHANGELOG)
foreach(file ${files})
    string(REGEX REPLACE "/CHANGELOG$" "/changelog" name ${file})
    if(NOT name STREQUAL file)
        file(RENAME ${file} ${name})
    endif()
    execute_process(COMMAND gzip -9n ${name} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
