#pragma once

// Deletes a chain of records linked by `next` (Action or RawXmlData), each through
// its own destructor, saving `next` first: a record's destructor never follows it.
template <typename Record>
void deleteRecordChain(Record* head) {
    while (head != nullptr) {
        Record* next = head->next;
        delete head;
        head = next;
    }
}
