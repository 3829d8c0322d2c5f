# fields.h, the commands' names and their records' fields as protocol.h declares them: link with fields to include it.
set(header ${PROJECT_BINARY_DIR}/fields/fields.h)
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/fields)
add_custom_command(OUTPUT ${header}
    COMMAND ${AWK} -f ${Q7NET_PROTOCOL_AWK} -v make=fields ${Q7NET_PROTOCOL_H} > ${header}
    DEPENDS ${Q7NET_PROTOCOL_H} ${Q7NET_PROTOCOL_AWK}
    VERBATIM)
add_library(fields INTERFACE ${header})
target_include_directories(fields INTERFACE ${PROJECT_BINARY_DIR}/fields)
