#pragma once

// The root class of the core's objects: an optional name, an optional object with further
// information, and a printed description.
#include <memory>
#include <ostream>
#include <string>

#include "core/Export.h"

namespace ostrel::core {

class OSTREL_CORE_API IOstrelObject : public std::enable_shared_from_this<IOstrelObject> {
  public:
    IOstrelObject();
    IOstrelObject(const IOstrelObject&) = default;
    IOstrelObject& operator=(const IOstrelObject&) = default;

    // The information object, possibly null.
    virtual std::shared_ptr<IOstrelObject> info() const;
    virtual void set_info(std::shared_ptr<IOstrelObject> p_info);
    // The name; empty means anonymous.
    virtual std::string name() const;
    virtual void set_name(const std::string& p_name);
    // The run-time type name of the most derived class.
    virtual std::string type_name() const;
    // The description, as describe writes it with an empty prefix and class name.
    virtual std::string to_string() const;
    virtual ~IOstrelObject();
    // Writes the description, each line starting with p_prefix; p_class_name heads it
    // ("OstrelObject" when empty).
    virtual void describe(std::ostream& p_stream, std::string p_prefix,
                          std::string p_class_name) const;

    // The information object; fails when there is none.
    std::shared_ptr<IOstrelObject> get() const;

  private:
    std::shared_ptr<IOstrelObject> m_info;
    std::string m_name;
};

// The readable name of a C++ type as the compiler records it.
OSTREL_CORE_API std::string demangled_type_name(const char* p_mangled);

}  // namespace ostrel::core
