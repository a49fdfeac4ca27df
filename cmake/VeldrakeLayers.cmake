# The library's layers, written once: the build (veldrake_layer) and the include check
# (VeldrakeCheckLayers.cmake, run by CTest) both read this table.
#
#   session -> sync -> contacts, notes -> plist -> util, the platform beneath;
#   backup (the second library, libVeldrakeBackup) -> contacts, notes -> plist -> util.
#
# For each layer, lowest first:
#   USES      the layers right below it; what those may use, it may use too
#   PLATFORM  the platform frameworks it calls itself (never inherited by the layers above)
#   PUBLIC    its headers under include/: files, or folders ending in "/" (its private
#             headers sit beside its sources in src/<layer>/)
# A layer sees its own headers and those of every layer it may use, and nothing else.
set(VELDRAKE_LAYERS util plist contacts notes sync session backup)

set(VELDRAKE_LAYER_util_USES "")
set(VELDRAKE_LAYER_util_PLATFORM CoreFoundation)
set(VELDRAKE_LAYER_util_PUBLIC
    veldrake/Export.h veldrake/RecordCallback.h veldrake/wstrtoi.h
    veldrake/TextConversion.h veldrake/Encoders.h)

set(VELDRAKE_LAYER_plist_USES util)
set(VELDRAKE_LAYER_plist_PLATFORM "")
set(VELDRAKE_LAYER_plist_PUBLIC prop/ BPListReader/)

set(VELDRAKE_LAYER_contacts_USES plist)
set(VELDRAKE_LAYER_contacts_PLATFORM "")
set(VELDRAKE_LAYER_contacts_PUBLIC
    QX/Contact.h QX/ContactAddress.h QX/ContactAddressFields.h QX/ContactField.h
    QX/ContactReservedBlock.h veldrake/RecordUnderAnalysis.h)

set(VELDRAKE_LAYER_notes_USES plist)
set(VELDRAKE_LAYER_notes_PLATFORM "")
set(VELDRAKE_LAYER_notes_PUBLIC QX/Notes.h)

set(VELDRAKE_LAYER_sync_USES contacts notes)
set(VELDRAKE_LAYER_sync_PLATFORM "")
set(VELDRAKE_LAYER_sync_PUBLIC veldrake/IOSContact.h veldrake/IOSNote.h)

set(VELDRAKE_LAYER_session_USES sync)
set(VELDRAKE_LAYER_session_PLATFORM MobileDevice CoreFoundation)
set(VELDRAKE_LAYER_session_PUBLIC veldrake/Session.h)

set(VELDRAKE_LAYER_backup_USES contacts notes)
set(VELDRAKE_LAYER_backup_PLATFORM "")
set(VELDRAKE_LAYER_backup_PUBLIC veldrake/Backup.h)

# veldrake_layers_below(layer out): every layer `layer` may use, directly or through
# another.
function(veldrake_layers_below layer out)
  set(below "")
  set(pending ${VELDRAKE_LAYER_${layer}_USES})
  while(pending)
    list(POP_FRONT pending next)
    if(NOT next IN_LIST below)
      list(APPEND below ${next})
      list(APPEND pending ${VELDRAKE_LAYER_${next}_USES})
    endif()
  endwhile()
  set(${out} ${below} PARENT_SCOPE)
endfunction()
