# fields.h, the commands' names and their records' fields as protocol.h declares them: link with fields to include it.
set(header ${PROJECT_BINARY_DIR}/fields/fields.h)
set(described ${PROJECT_BINARY_DIR}/fields/described)
file(WRITE ${PROJECT_BINARY_DIR}/fields/page "%COMMANDS%\n%RECORDS%\n")
set(protocol ${PROJECT_SOURCE_DIR}/shellexec/core/protocol.h)
set(describe ${PROJECT_SOURCE_DIR}/packaging/man/protocol.awk)
add_custom_command(OUTPUT ${header}
    COMMAND ${AWK} -f ${describe} ${protocol} ${PROJECT_BINARY_DIR}/fields/page > ${described}
    COMMAND ${AWK} -f ${CMAKE_CURRENT_LIST_DIR}/fields.awk ${protocol} ${described} > ${header}
    DEPENDS ${protocol} ${describe} ${CMAKE_CURRENT_LIST_DIR}/fields.awk
    VERBATIM)
add_library(fields INTERFACE ${header})
target_include_directories(fields INTERFACE ${PROJECT_BINARY_DIR}/fields)
