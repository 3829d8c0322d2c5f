# Run by cpack before it packs: what is in the packages bears the date of the change log.
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
    set(ENV{SOURCE_DATE_EPOCH} ${CPACK_SOURCE_DATE_EPOCH})
endif()
