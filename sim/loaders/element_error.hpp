// A fault inside an XML dump, with the path of elements that leads to it.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace plinth::sim::detail {

// A fault inside an XML property list dump. It is thrown where the fault is found
// and each enclosing element adds its own step on the way out, so that reading
// pays nothing for the path until something is wrong.
class element_error : public std::runtime_error
{
public:
    explicit element_error(std::string const& problem) : std::runtime_error(problem) {}

    // Adds the step of the enclosing element ("\"Root\"", "IORegistryEntryChildren[2]").
    void add_outer_step(std::string step) { steps_.push_back(std::move(step)); }

    // "\"Root\" > IORegistryEntryChildren[2] > \"IOUSBHostDevice\": IORegistryEntryID is not an integer"
    std::string describe() const
    {
        std::string text;
        for (auto step = steps_.rbegin(); step != steps_.rend(); ++step)
            text += (text.empty() ? "" : " > ") + *step;
        return text.empty() ? what() : text + ": " + what();
    }

private:
    std::vector<std::string> steps_; // innermost first
};

// Runs `read`; an element_error thrown inside it leaves with `step()` added as its
// enclosing step. The step's text is built only then.
template <typename Step, typename Read>
decltype(auto) within_step(Step&& step, Read&& read)
{
    try
    {
        return read();
    }
    catch (element_error& e)
    {
        e.add_outer_step(step());
        throw;
    }
}

} // namespace plinth::sim::detail
