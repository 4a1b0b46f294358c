// consumer: a program outside the project that prints the registry root's name through the installed library.
#include "device/apple/tree.hpp"
#if !defined(__APPLE__)
#include "sim/control/registry.hpp"
#endif

#include <iostream>

int main()
{
#if !defined(__APPLE__)
    plinth::sim::load_bundled_registry();
#endif
    plinth::apple::tree const registry(plinth::apple::io_kit::mach_port::master_port_default());
    std::cout << registry.get_root_node().get_name() << '\n';
}
