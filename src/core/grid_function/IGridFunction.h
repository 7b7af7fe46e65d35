#pragma once

// A grid function: a value per grid element, read through a handle. IGridFunction is the untyped
// side that every grid function offers, whatever its value type; ITypeGridFunction<R> adds the
// typed value.
#include <memory>
#include <ostream>
#include <string>

#include "core/Export.h"
#include "core/IOstrelObject.h"
#include "core/array/ArrayShape.h"
#include "core/grid_function/GenericValue.h"
#include "core/handle/Handles.h"

namespace ostrel::core {

class IArray;
class IArrayImplFactory;
class ITopology;

// The number of elements of a function without a finite domain.
constexpr unsigned int infinite_elements = 4294967295u;

class OSTREL_CORE_API IGridFunction : public IOstrelObject {
  public:
    IGridFunction() = default;
    IGridFunction(const IGridFunction&) = default;
    IGridFunction& operator=(const IGridFunction&) = default;
    ~IGridFunction() override;

    LocationType location() const { return m_location; }
    void set_location(LocationType p_location) { m_location = p_location; }
    // Asks the class to move the function to another location.
    bool change_location(LocationType p_location) { return do_change_location(p_location); }

    // A new default object of the same concrete class.
    virtual std::shared_ptr<IGridFunction> create_empty() const = 0;
    // A new object sharing this one's storage.
    virtual std::shared_ptr<IGridFunction> copy() const = 0;
    // copy, then make_unique on the copy.
    virtual std::shared_ptr<IGridFunction> deep_copy() const;
    // No class of this system can change its location: fails always.
    virtual bool do_change_location(LocationType p_location);

    virtual GenericScalarValue scalar_value(const Handle4& p_handle) const = 0;
    virtual GenericScalarValue scalar_value(const Handle3& p_handle) const = 0;
    virtual GenericScalarValue scalar_value(const Handle2& p_handle) const = 0;
    virtual GenericScalarValue scalar_value(const Handle1& p_handle) const = 0;
    virtual GenericTupleValue tuple_value(const Handle4& p_handle) const = 0;
    virtual GenericTupleValue tuple_value(const Handle3& p_handle) const = 0;
    virtual GenericTupleValue tuple_value(const Handle2& p_handle) const = 0;
    virtual GenericTupleValue tuple_value(const Handle1& p_handle) const = 0;
    virtual ScalarType result_scalar_type() const = 0;
    // The element shape: (tuple length, 1).
    virtual ElementShape result_shape() const = 0;

    virtual std::uint32_t accepted_handles() const = 0;
    // infinite_elements when the function has no finite domain.
    virtual unsigned int number_of_elements() const = 0;
    virtual bool has_array() const = 0;
    virtual std::shared_ptr<IArray> array() const = 0;
    virtual void set_array(const std::shared_ptr<IArray>& p_array) = 0;
    virtual void make_unique() = 0;
    // Called by create_array before it reads an interface-typed function; nothing to prepare in
    // any class of this system.
    virtual bool prepare_for_reading() const = 0;

    virtual bool as_bool(const Handle4& p_handle) const = 0;
    virtual bool as_bool(const Handle3& p_handle) const = 0;
    virtual bool as_bool(const Handle2& p_handle) const = 0;
    virtual bool as_bool(const Handle1& p_handle) const = 0;
    virtual double as_float64(const Handle4& p_handle) const = 0;
    virtual double as_float64(const Handle3& p_handle) const = 0;
    virtual double as_float64(const Handle2& p_handle) const = 0;
    virtual double as_float64(const Handle1& p_handle) const = 0;
    virtual int as_int32(const Handle4& p_handle) const = 0;
    virtual int as_int32(const Handle3& p_handle) const = 0;
    virtual int as_int32(const Handle2& p_handle) const = 0;
    virtual int as_int32(const Handle1& p_handle) const = 0;
    virtual void set_float64(const Handle4& p_handle, double p_value) = 0;
    virtual void set_float64(const Handle3& p_handle, double p_value) = 0;
    virtual void set_float64(const Handle2& p_handle, double p_value) = 0;
    virtual void set_float64(const Handle1& p_handle, double p_value) = 0;

    // The topology's create_histogram with this function as the function to count.
    virtual std::shared_ptr<IArray> create_histogram(const ITopology& p_topology, double p_minimum,
                                                     double p_maximum, int p_bins,
                                                     const IGridFunction& p_weight,
                                                     const IArrayImplFactory& p_factory,
                                                     bool p_closed) const = 0;

    void describe(std::ostream& p_stream, std::string p_prefix,
                  std::string p_class_name) const override;

  private:
    LocationType m_location = onCell;
};

// The grid functions of scalar values.
class OSTREL_CORE_API IScalarGridFunction : public IGridFunction {
  public:
    ~IScalarGridFunction() override;
};

}  // namespace ostrel::core
