#pragma once

// Subject and observer. The links between them are kept in one process-wide table,
// Singleton<Observations>, so that neither side holds a list of the other: a subject notifies
// its observers through the table, and whichever of the two dies first takes its links out.
#include <map>
#include <set>

#include "core/Export.h"

namespace ostrel::core {

class OSTREL_CORE_API ISubject {
  public:
    ISubject() = default;
    ISubject(const ISubject&) {}
    ISubject& operator=(const ISubject&) { return *this; }
    // Drops the subject and all its links.
    virtual ~ISubject();
};

class OSTREL_CORE_API IObserver {
  public:
    IObserver() = default;
    IObserver(const IObserver&) {}
    IObserver& operator=(const IObserver&) { return *this; }
    // Drops the observer and all its links.
    virtual ~IObserver();
    // Called on every notification of a subject that this observer is attached to.
    virtual void update() = 0;
};

// The table of links. Keys are addresses; observers of a subject are told in address order.
class OSTREL_CORE_API Observations {
  public:
    using ObserverSet = std::set<IObserver*>;
    using SubjectSet = std::set<ISubject*>;

    Observations();
    ~Observations();
    Observations(const Observations&) = delete;
    Observations& operator=(const Observations&) = delete;

    // Links p_observer to p_subject; a link that exists already stays single.
    void attach(ISubject* p_subject, IObserver* p_observer);
    // Removes a link; fails when the subject has no link or not this one.
    void detach(ISubject* p_subject, IObserver* p_observer);
    // Calls update on every observer of p_subject; an exception ends the walk.
    void notify(ISubject* p_subject);
    // Removes the subject and all its links.
    void remove_subject(ISubject* p_subject);
    // Removes the observer and all its links.
    void remove_observer(IObserver* p_observer);

    // The observers of p_subject (an empty set when it has none).
    const ObserverSet& observers_of(ISubject* p_subject) const;
    // The subjects that p_observer is linked to (an empty set when it has none).
    SubjectSet subjects_of(IObserver* p_observer) const;
    bool has_subject(ISubject* p_subject) const { return m_map.count(p_subject) != 0; }
    bool has_observer(IObserver* p_observer) const { return m_reverse.count(p_observer) != 0; }

  private:
    std::map<ISubject*, ObserverSet> m_map;
    std::map<IObserver*, SubjectSet> m_reverse;
    ObserverSet m_empty;
};

// The process-wide table, through Singleton<Observations>.
OSTREL_CORE_API Observations& observations();
OSTREL_CORE_API void attach(ISubject* p_subject, IObserver* p_observer);
OSTREL_CORE_API void detach(ISubject* p_subject, IObserver* p_observer);
OSTREL_CORE_API void notify(ISubject* p_subject);

}  // namespace ostrel::core
