// Every web object of the classifier by id: the one owner of pages, elements
// and script nodes. Everything else holds them weakly or by raw pointer.
#pragma once

#include <map>

#include "core/ref.h"
#include "web/web_classification_object.h"
#include "web/web_object_id.h"

namespace qv {

class CWebClassificationObjects {
public:
    CWebClassificationObjects() = default;
    CWebClassificationObjects(const CWebClassificationObjects&) = delete;
    CWebClassificationObjects& operator=(const CWebClassificationObjects&) = delete;
    // Empties the table first entry first; see Clear.
    ~CWebClassificationObjects() { Clear(); }

    CRefPtr<CWebClassificationObject> Find(const WebObjectId& id) const;
    // A second object under a taken id is not entered.
    void Add(const WebObjectId& id, const CRefPtr<CWebClassificationObject>& object);
    // The entry goes before the object's reference does, so an object may
    // die inside this call and its tear-down may remove further entries (a
    // page takes its nodes with it). An unknown id does nothing.
    void Remove(const WebObjectId& id);
    // Removes the first entry in key order until none is left, so that
    // entries that a removal takes along are not visited twice.
    void Clear();

    std::size_t size() const { return m_objects.size(); }
    bool empty() const { return m_objects.empty(); }
    const std::map<WebObjectId, CRefPtr<CWebClassificationObject>>& items() const { return m_objects; }

private:
    std::map<WebObjectId, CRefPtr<CWebClassificationObject>> m_objects;
};

}  // namespace qv
