#include "core/IOstrelObject.h"

#include <cxxabi.h>

#include <cstdlib>
#include <sstream>
#include <typeinfo>
#include <utility>

#include "core/pattern/Assert.h"

namespace ostrel::core {

std::string demangled_type_name(const char* p_mangled) {
    int status = 0;
    char* readable = abi::__cxa_demangle(p_mangled, nullptr, nullptr, &status);
    if (status != 0 || readable == nullptr) return p_mangled;
    std::string result(readable);
    std::free(readable);
    return result;
}

IOstrelObject::IOstrelObject() = default;
IOstrelObject::~IOstrelObject() = default;

std::shared_ptr<IOstrelObject> IOstrelObject::info() const { return m_info; }

void IOstrelObject::set_info(std::shared_ptr<IOstrelObject> p_info) { m_info = std::move(p_info); }

std::string IOstrelObject::name() const { return m_name; }

void IOstrelObject::set_name(const std::string& p_name) { m_name = p_name; }

std::string IOstrelObject::type_name() const { return demangled_type_name(typeid(*this).name()); }

std::string IOstrelObject::to_string() const {
    std::ostringstream stream;
    describe(stream, std::string(), std::string());
    return stream.str();
}

void IOstrelObject::describe(std::ostream& p_stream, std::string p_prefix,
                             std::string p_class_name) const {
    p_stream << p_prefix << (p_class_name.empty() ? std::string("OstrelObject") : p_class_name)
             << "\n";
    p_stream << p_prefix << "  Name: ";
    if (m_name.empty()) {
        p_stream << "(anonymous)";
    } else {
        p_stream << '"' << m_name << '"';
    }
    p_stream << "\n";
    p_stream << p_prefix << "  C++ Type: " << type_name() << "\n";
    p_stream << p_prefix << "  Mem. Location: " << static_cast<const void*>(this) << "\n";
    p_stream << p_prefix << "  Information: " << (m_info ? m_info->to_string() : "<null>") << "\n";
}

std::shared_ptr<IOstrelObject> IOstrelObject::get() const {
    OSTREL_PRECONDITION(m_info, "m_info", "core/IOstrelObject.inl",
                        "This OstrelObject do not have an Information setted.");
    return m_info;
}

}  // namespace ostrel::core
