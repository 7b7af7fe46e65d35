// The grid functions of the system: the array functions of ranks 1 and 3, the 6-tuple function,
// the two constants and the views, each compiled here once.
#include "core/array/Array.h"
#include "core/grid_function/GenGridFunction.h"

namespace ostrel::core {

#define OSTREL_ARRAY_GRID_FUNCTION(...)                                                         \
    template class GridFunction<ArrayGridFunctionImpl<Array<__VA_ARGS__, 1>>, PassHandleMapper, \
                                is::Writable>;                                                  \
    template class GridFunction<ArrayGridFunctionImpl<Array<__VA_ARGS__, 3>>, PassHandleMapper, \
                                is::Writable>;
#define OSTREL_VIEW_GRID_FUNCTION(...)                                                   \
    template class GridFunction<ViewGridFunctionImpl<ArrayGridFunction<__VA_ARGS__, 3>>, \
                                PassHandleMapper, is::Const>;
OSTREL_FOR_EACH_GRID_FUNCTION_ARRAY_TYPE(OSTREL_ARRAY_GRID_FUNCTION)
OSTREL_FOR_EACH_GRID_FUNCTION_VIEW_TYPE(OSTREL_VIEW_GRID_FUNCTION)
template class GridFunction<ArrayGridFunctionImpl<Array<mtm::RigidVector<6, double>, 1>>,
                            PassHandleMapper, is::Writable>;
template class GridFunction<StaticConstantGridFunctionImpl<bool, 1>, PassHandleMapper, is::Const>;
template class GridFunction<StaticConstantGridFunctionImpl<int, 1>, PassHandleMapper, is::Const>;

}  // namespace ostrel::core
