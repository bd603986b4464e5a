// Interface adapters of server objects: each forwards the host's calls on one interface to the
// C++ object behind the server.
#pragma once

#include "host/CQvPolymorph.h"
#include "qv/module.h"

// The saver interface, forwarding to Verify and Save of a CQvImpl_Saver.
template <class T> class CQvIfc_Saver final : public CQvFaceOf<IQvSaver> {
public:
    using CQvFaceOf<IQvSaver>::iid;
    CQvIfc_Saver(CQvServerObject& owner, T& object) : CQvFaceOf<IQvSaver>(owner), object(object) {}
    QvResult Verify(IQvUnknown* source, IQvUnknown* message) override {
        return CQvNoThrow([&] { return object.Verify(source, message); });
    }
    QvResult Save(IQvUnknown* source, const char* path, IQvUnknown* monitor) override {
        return CQvNoThrow([&] { return object.Save(source, path, monitor); });
    }

private:
    T& object;
};

// A fixed table of tag rows, ending in a row with a null key.
class CQvTagTable {
public:
    explicit CQvTagTable(const QvTagRow* rows) : rows(rows) {}
    uint32_t Count() const {
        uint32_t n = 0;
        while (rows && rows[n].key)
            ++n;
        return n;
    }
    QvResult Describe(uint32_t index, QvTagRow* row) const {
        if (index >= Count()) return qvOutOfRange;
        *row = rows[index];
        return qvOk;
    }

private:
    const QvTagRow* rows;
};

template <class T> class CQvIfc_TagDescription final : public CQvFaceOf<IQvTagDescription> {
public:
    using CQvFaceOf<IQvTagDescription>::iid;
    CQvIfc_TagDescription(CQvServerObject& owner, T&, const QvTagRow* rows)
        : CQvFaceOf<IQvTagDescription>(owner), table(rows) {}
    QvResult TagCount(uint32_t* count) override {
        *count = table.Count();
        return qvOk;
    }
    QvResult TagDescribe(uint32_t index, QvTagRow* row) override {
        return table.Describe(index, row);
    }

private:
    CQvTagTable table;
};
