// An XML property list parsed by libplist, owning its nodes.
#pragma once

#include <plist/plist.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

namespace plinth::sim::detail {

// An XML property list as libplist parsed it, owning its nodes.
class plist_document
{
public:
    // Throws dump_error when libplist rejects the text, naming the first place
    // where the tags do not pair up when there is one.
    static plist_document parse_xml(std::string_view xml);

    plist_t root() const noexcept { return root_.get(); }

private:
    struct node_deleter
    {
        void operator()(void* node) const noexcept { plist_free(node); }
    };

    explicit plist_document(plist_t root) : root_(root) {}

    std::unique_ptr<void, node_deleter> root_;
};

// The element name a node was written with, for messages: "<dict>", "<integer>".
std::string element_name(plist_t node);

// Calls f(key, value) for each item of a dictionary node, in document order.
template <typename F>
void for_each_dict_item(plist_t dict, F&& f)
{
    struct freer
    {
        void operator()(void* p) const noexcept { std::free(p); }
    };
    plist_dict_iter raw_iter = nullptr;
    plist_dict_new_iter(dict, &raw_iter);
    std::unique_ptr<void, freer> const iter(raw_iter);
    for (;;)
    {
        char* raw_key = nullptr;
        plist_t item = nullptr;
        plist_dict_next_item(dict, iter.get(), &raw_key, &item);
        std::unique_ptr<char, freer> const key(raw_key);
        if (item == nullptr)
            return;
        f(std::string_view(key ? key.get() : ""), item);
    }
}

} // namespace plinth::sim::detail
