// A version-0 run-loop source: its context, order, and signalled and valid flags.
#include "sim/detail/run_loop/run_loop_source.hpp"

#include "sim/detail/cf/cf_type_registry.hpp"

#include <sstream>

namespace plinth::sim::detail {

run_loop_source::run_loop_source(CFIndex order, CFRunLoopSourceContext const& context)
    : cf_object(class_type_id(), false), order_(order), context_(context)
{
    if (context_.retain != nullptr)
        context_.info = const_cast<void*>(context_.retain(context_.info));
}

run_loop_source::~run_loop_source()
{
    if (context_.release != nullptr)
        context_.release(context_.info);
}

CFTypeID run_loop_source::class_type_id()
{
    static CFTypeID const id = cf_type_registry::id_for("CFRunLoopSource");
    return id;
}

bool run_loop_source::equals(cf_object const& other) const
{
    auto const& that = static_cast<run_loop_source const&>(other);
    if (order_ != that.order_ || context_.perform != that.context_.perform)
        return false;
    if (context_.equal != nullptr)
        return context_.equal(context_.info, that.context_.info) != 0;
    return context_.info == that.context_.info;
}

CFHashCode run_loop_source::hash() const
{
    if (context_.hash != nullptr)
        return context_.hash(context_.info);
    return reinterpret_cast<CFHashCode>(context_.info);
}

std::string run_loop_source::description() const
{
    std::ostringstream out;
    out << description_head() << "{order = " << order_ << ", info = " << context_.info << "}";
    return out.str();
}

} // namespace plinth::sim::detail
