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

void Observations::detach(ISubject* p_subject, IObserver* p_observer) {
    auto map_it = m_map.find(p_subject);
    OSTREL_PRECONDITION(map_it != m_map.end(), "map_it != m_map.end()", kSubjectFile,
                        kInvalidObservation);
    auto obs_it = map_it->second.find(p_observer);
    OSTREL_PRECONDITION(obs_it != map_it->second.end(), "obs_it != map_it->second.end()",
                        kSubjectFile, kInvalidObservation);
    map_it->second.erase(obs_it);
    // A subject whose last observer left has no entry any more.
    if (map_it->second.empty()) m_map.erase(map_it);
    auto reverse_it = m_reverse.find(p_observer);
    if (reverse_it != m_reverse.end()) {
        reverse_it->second.erase(p_subject);
        if (reverse_it->second.empty()) m_reverse.erase(reverse_it);
    }
}

void Observations::notify(ISubject* p_subject) {
    auto map_it = m_map.find(p_subject);
    const ObserverSet& observers = map_it == m_map.end() ? m_empty : map_it->second;
    for (IObserver* observer : observers) observer->update();
}

void Observations::remove_subject(ISubject* p_subject) {
    auto map_it = m_map.find(p_subject);
    if (map_it == m_map.end()) return;
    for (IObserver* observer : map_it->second) {
        auto reverse_it = m_reverse.find(observer);
        if (reverse_it == m_reverse.end()) continue;
        reverse_it->second.erase(p_subject);
        if (reverse_it->second.empty()) m_reverse.erase(reverse_it);
    }
    m_map.erase(map_it);
}

void Observations::remove_observer(IObserver* p_observer) {
    auto reverse_it = m_reverse.find(p_observer);
    if (reverse_it == m_reverse.end()) return;
    for (ISubject* subject : reverse_it->second) {
        auto map_it = m_map.find(subject);
        if (map_it == m_map.end()) continue;
        map_it->second.erase(p_observer);
        if (map_it->second.empty()) m_map.erase(map_it);
    }
    m_reverse.erase(reverse_it);
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
