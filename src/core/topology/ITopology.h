#pragma once

// ITopology: what a grid's topology answers (element counts, shapes, accepted handles, walks)
// and how it turns grid functions into arrays and histograms.
#include <memory>
#include <vector>

#include "core/Export.h"
#include "core/IOstrelObject.h"
#include "core/array/ArrayShape.h"
#include "core/handle/Handles.h"

namespace ostrel::core {

class IArray;
class IArrayImplFactory;
class IGridFunction;
class ITopology;

// A test on cells, for the element queries.
class OSTREL_CORE_API CellPredicate {
  public:
    virtual ~CellPredicate();
    virtual bool operator()(const AnyHandle& p_cell) const = 0;
};

// Results of the element queries.
struct OSTREL_CORE_API HandleCollection {
    std::vector<AnyHandle> handles;
};
struct OSTREL_CORE_API AdjacentsCollection {
    std::vector<AnyHandle> handles;
};

// Receives the handles of a walk over the cells.
class OSTREL_CORE_API ITopologyVisitor {
  public:
    virtual ~ITopologyVisitor();
    virtual void visit(const Handle3& p_cell);
    virtual void visit(const Handle1& p_cell);
    // The topology being walked, before the first cell.
    virtual void start(const std::shared_ptr<const ITopology>& p_topology);
};

class OSTREL_CORE_API ITopology : public IOstrelObject {
  public:
    ~ITopology() override;

    virtual unsigned int dimensions() const = 0;
    virtual unsigned int number_of_cells() const = 0;
    virtual unsigned int number_of_vertices() const = 0;
    virtual unsigned int number_of_edges() const = 0;
    virtual unsigned int number_of_faces() const = 0;
    virtual ArrayShape cell_shape() const = 0;
    virtual ArrayShape vertex_shape() const = 0;
    virtual std::uint32_t accepted_handles(LocationType p_location) const = 0;

    void get_elements_on(LocationType p_from, AnyHandle p_handle, LocationType p_to,
                         const CellPredicate& p_predicate, HandleCollection& p_result) const {
        do_get_elements_on(p_from, p_handle, p_to, p_predicate, p_result);
    }
    void get_adjacents_of(LocationType p_from, AnyHandle p_handle, LocationType p_through,
                          LocationType p_to, const CellPredicate& p_predicate,
                          AdjacentsCollection& p_result) const {
        do_get_adjacents_of(p_from, p_handle, p_through, p_to, p_predicate, p_result);
    }
    virtual void do_get_elements_on(LocationType p_from, AnyHandle p_handle, LocationType p_to,
                                    const CellPredicate& p_predicate,
                                    HandleCollection& p_result) const = 0;
    virtual void do_get_adjacents_of(LocationType p_from, AnyHandle p_handle,
                                     LocationType p_through, LocationType p_to,
                                     const CellPredicate& p_predicate,
                                     AdjacentsCollection& p_result) const = 0;

    virtual void visit_all_cells(ITopologyVisitor& p_visitor) const = 0;
    virtual ArrayShape grid_shape() const = 0;
    virtual unsigned int corners_per_cell(unsigned int p_i, unsigned int p_j,
                                          unsigned int p_k) const = 0;

    // An array of the function's values over the cells, through p_factory.
    virtual std::shared_ptr<IArray> create_array(const IGridFunction& p_function,
                                                 const IArrayImplFactory& p_factory) const = 0;
    // An Array<double,1> of p_bins + 2 elements: below the minimum, the bins, above the maximum.
    virtual std::shared_ptr<IArray> create_histogram(const IGridFunction& p_function,
                                                     double p_minimum, double p_maximum, int p_bins,
                                                     const IGridFunction& p_weight,
                                                     const IArrayImplFactory& p_factory,
                                                     bool p_closed) const = 0;
};

}  // namespace ostrel::core
