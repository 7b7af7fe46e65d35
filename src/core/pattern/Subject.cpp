#include "core/pattern/Subject.h"

#include "core/pattern/Assert.h"
#include "core/pattern/Singleton.h"

namespace ostrel::core {

namespace {
constexpr const char* kSubjectFile = "core/pattern/Subject";
constexpr const char* kInvalidObservation = "Trying to remove an invalid observation";
}  // namespace

ISubject::~ISubject() { observations().remove_subject(this); }

IObserver::~IObserver() { observations().remove_observer(this); }

Observations::Observations() = default;
Observations::~Observations() = default;

void Observations::attach(ISubject* p_subject, IObserver* p_observer) {
    m_map[p_subject].insert(p_observer);
    m_reverse[p_observer].insert(p_subject);
}

namespace {

// Removes p_value from the set of p_key in p_map, and the entry of p_key once its set is empty.
template <class Map, class Key, class Value>
void drop_link(Map& p_map, Key p_key, Value p_value) {
    auto entry = p_map.find(p_key);
    if (entry == p_map.end()) return;
    entry->second.erase(p_value);
    if (entry->second.empty()) p_map.erase(entry);
}

// Removes p_key and all its links from p_map, and its links from the reverse map p_reverse.
template <class Map, class Reverse, class Key>
void drop_all_links(Map& p_map, Reverse& p_reverse, Key p_key) {
    auto entry = p_map.find(p_key);
    if (entry == p_map.end()) return;
    for (auto other : entry->second) drop_link(p_reverse, other, p_key);
    p_map.erase(entry);
}

}  // namespace

void Observations::detach(ISubject* p_subject, IObserver* p_observer) {
    auto map_it = m_map.find(p_subject);
    OSTREL_PRECONDITION(map_it != m_map.end(), "map_it != m_map.end()", kSubjectFile,
                        kInvalidObservation);
    auto obs_it = map_it->second.find(p_observer);
    OSTREL_PRECONDITION(obs_it != map_it->second.end(), "obs_it != map_it->second.end()",
                        kSubjectFile, kInvalidObservation);
    // A subject whose last observer left has no entry any more.
    drop_link(m_map, p_subject, p_observer);
    drop_link(m_reverse, p_observer, p_subject);
}

void Observations::notify(ISubject* p_subject) {
    for (IObserver* observer : observers_of(p_subject)) observer->update();
}

void Observations::remove_subject(ISubject* p_subject) {
    drop_all_links(m_map, m_reverse, p_subject);
}

void Observations::remove_observer(IObserver* p_observer) {
    drop_all_links(m_reverse, m_map, p_observer);
}

const Observations::ObserverSet& Observations::observers_of(ISubject* p_subject) const {
    auto map_it = m_map.find(p_subject);
    return map_it == m_map.end() ? m_empty : map_it->second;
}

Observations::SubjectSet Observations::subjects_of(IObserver* p_observer) const {
    auto reverse_it = m_reverse.find(p_observer);
    return reverse_it == m_reverse.end() ? SubjectSet() : reverse_it->second;
}

Observations& observations() { return Singleton<Observations>::instance(); }

void attach(ISubject* p_subject, IObserver* p_observer) {
    observations().attach(p_subject, p_observer);
}

void detach(ISubject* p_subject, IObserver* p_observer) {
    observations().detach(p_subject, p_observer);
}

void notify(ISubject* p_subject) { observations().notify(p_subject); }

}  // namespace ostrel::core
