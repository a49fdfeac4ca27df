// ReplyWalk: reads the records of one contact reply straight from the list's bytes.
//
// Analysis needs only the record dictionaries of a reply and copies their texts; building
// the whole tree of bodies, keys and strings for that and releasing it again cost most of
// the time of an export. The walk follows the same path through the same bytes as the
// walk over a decoded tree (root array, outer dictionaries, record dictionaries in key
// order with the last of equal keys winning) and hands each record's entries, as
// RecordStaging::RawEntry, to the same staging as the record analyses.
//
// REQUIRES: the reader is open and checkRootObject() said true, so every object the walk
// reaches lies within the data and every limit holds; the walk still tests each bound it
// relies on and skips what fails. Ownership: borrows the reader for the call.
#ifndef VELDRAKE_CONTACTS_REPLYWALK_H_
#define VELDRAKE_CONTACTS_REPLYWALK_H_

class BPListReader;
class RecordStaging;

// Stages the records of the reply; the result is Analysis's: -1 for a root that is no
// array, -2 for an empty root array, -3 when `namesMessage` and no outer dictionary was
// met, 0 otherwise.
int StageReplyRecords(const BPListReader& reader, bool namesMessage, RecordStaging& staging);

#endif  // VELDRAKE_CONTACTS_REPLYWALK_H_
