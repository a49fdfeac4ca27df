# The library's layers, written once: the build (veldrake_layer) and the include check
# (VeldrakeCheckLayers.cmake, run by CTest) both read this table.
#
#   session -> sync -> contacts, notes -> plist -> util, the platform beneath;
#   backup (the second library, libVeldrakeBackup) -> backup_contacts, backup_notes
#     -> backup_container, contacts, notes -> plist -> util.
#
# For each layer, lowest first:
#   USES      the layers right below it; what those may use, it may use too
#   PLATFORM  the platform frameworks it calls itself (never inherited by the layers above)
#   PUBLIC    its headers under include/: files, or folders ending in "/" (its private
#             headers sit beside its sources in its folder)
#   DIR       its folder under src/, when that is not src/<layer>
# A layer sees its own headers and those of every layer it may use, and nothing else.
set(VELDRAKE_LAYERS util plist contacts notes sync session backup_container backup_contacts
    backup_notes backup)

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

# The second library, one layer per idea: the backup container (the folder, its plists
# and Manifest.db, the keybag and decryption, private files, statements and record texts),
# the address book, the note stores, and the entry points over them.
set(VELDRAKE_LAYER_backup_container_USES plist)
set(VELDRAKE_LAYER_backup_container_PLATFORM "")
# Backup.h: the entry points' declarations, and the result codes every backup layer returns.
set(VELDRAKE_LAYER_backup_container_PUBLIC veldrake/Backup.h)
set(VELDRAKE_LAYER_backup_container_DIR backup/container)

set(VELDRAKE_LAYER_backup_contacts_USES backup_container contacts)
set(VELDRAKE_LAYER_backup_contacts_PLATFORM "")
set(VELDRAKE_LAYER_backup_contacts_PUBLIC veldrake/BackupContacts.h)
set(VELDRAKE_LAYER_backup_contacts_DIR backup/addressbook)

set(VELDRAKE_LAYER_backup_notes_USES backup_container notes)
set(VELDRAKE_LAYER_backup_notes_PLATFORM "")
set(VELDRAKE_LAYER_backup_notes_PUBLIC veldrake/BackupNotes.h)
set(VELDRAKE_LAYER_backup_notes_DIR backup/notes)

set(VELDRAKE_LAYER_backup_USES backup_contacts backup_notes)
set(VELDRAKE_LAYER_backup_PLATFORM "")
set(VELDRAKE_LAYER_backup_PUBLIC "")

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

# veldrake_layer_dir(layer out): the layer's folder under src/.
function(veldrake_layer_dir layer out)
  if(DEFINED VELDRAKE_LAYER_${layer}_DIR)
    set(${out} ${VELDRAKE_LAYER_${layer}_DIR} PARENT_SCOPE)
  else()
    set(${out} ${layer} PARENT_SCOPE)
  endif()
endfunction()
