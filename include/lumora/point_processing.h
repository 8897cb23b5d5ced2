// CVxPointProcessing: per-channel value counts, the base of the table-driven
// point operations.
#pragma once

#include <lumora/lumora_base.h>

// One channel's counts: nSize counters, one per sample value.
struct _PP_LOOKUP_TABLE {
    DWORD* pTable;
    int nSize;
};

class LUMORA_API CVxPointProcessing : public CVxLumoraBase {
public:
    CVxPointProcessing();
    explicit CVxPointProcessing(CVxImage* image);
    virtual ~CVxPointProcessing();

    // The tables own their counters: a processing object is not copied.
    CVxPointProcessing(const CVxPointProcessing&) = delete;
    CVxPointProcessing& operator=(const CVxPointProcessing&) = delete;

    // Replaces the tables by one table per channel of the target, channel 0
    // first, each counting how often every sample value occurs in the whole
    // image. 2^bits counters per table; 8- and 16-bit samples only.
    int CalLookupTable();
    // Throws CInvalidArgException for an index outside 0..count-1.
    _PP_LOOKUP_TABLE& GetLookupTable(int index);
    int GetLookupTableCount();
    void RemoveAll();

protected:
    CArray<_PP_LOOKUP_TABLE, _PP_LOOKUP_TABLE&> m_LookupTables;
};
