# Fails unless the library's dynamic symbol table defines exactly the backup library's
# entry points (the version script's node name aside).
#   cmake -DNM=<nm> -DLIBRARY=<libVeldrakeBackup.so> -P CheckSurface.cmake
execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY} OUTPUT_VARIABLE listing
                RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "${NM} failed on ${LIBRARY}")
endif()
string(REGEX MATCHALL "[0-9a-f]+ [A-Za-z] [^\n]+" lines "${listing}")
set(defined "")
foreach(line IN LISTS lines)
  if(NOT line MATCHES " A ")  # absolute symbols name version nodes, not code
    string(REGEX REPLACE "^[0-9a-f]+ [A-Za-z] " "" name "${line}")
    list(APPEND defined ${name})
  endif()
endforeach()
list(SORT defined)
set(expected VeldrakeBackupCancel VeldrakeBackupCopyAttachment VeldrakeBackupGetContacts
             VeldrakeBackupGetData VeldrakeBackupGetNotes VeldrakeBackupLastMessage
             VeldrakeBackupList VeldrakeBackupRemoveTemporaries)
if(NOT defined STREQUAL expected)
  message(FATAL_ERROR "libVeldrakeBackup exports [${defined}], not [${expected}]")
endif()
