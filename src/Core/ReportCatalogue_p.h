// Private to libZrnCore: not part of its interface, never installed.
#ifndef ZRNCORE_REPORTCATALOGUE_P_H
#define ZRNCORE_REPORTCATALOGUE_P_H

// Every fixed report of the library, in one place. Hosts match on the whole
// line, so each report keeps the source file and line it is reported as
// coming from, whatever the layout of the code that makes it; only its
// arguments vary. Reports go out through Internal::report() (Core.cpp),
// which prints them as reportAssertion() and reportError() do.

namespace Morvane {
namespace Zrn {
namespace Internal {

// One fixed report: "[<base name of sourcePath>:<line>] " and then, for a
// failed check, "[ !! ] Assertion '<condition>' failed: " and the message,
// for an error that is not a check (condition null) the message alone. The
// message is `messageFormat` formatted with printf rules.
struct FixedReport
{
    const char* sourcePath;
    int line;
    const char* condition;
    const char* messageFormat;
};

namespace Reports {

// addEdgeByName(): no output of the source node has the name (the argument).
constexpr FixedReport kSourceOutputByName{"src/Core/Graph.cpp", 681,
                                          "isValidOutput(srcNode, findOutput(srcNode, srcOutputName))",
                                          "Source output '%s' is not valid"};
// addEdgeByName(): no input of the destination node has the name.
constexpr FixedReport kDestInputByName{"src/Core/Graph.cpp", 682,
                                       "isValidInput(dstNode, findInput(dstNode, dstInputName))",
                                       "Dest input '%s' is not valid"};

// The three checks of addDownEdgeByName(). Each takes the parent input's
// name and the child input's name, in this order.
constexpr FixedReport kDownChildNode{"src/Core/Graph.cpp", 717, "isValidNode(childNode)", "Parent '%s' Child '%s'"};
constexpr FixedReport kDownChildInput{"src/Core/Graph.cpp", 718,
                                      "isValidInput(childNode, findInput(childNode, childInputName))",
                                      "Parent '%s' Child '%s'"};
constexpr FixedReport kDownParentInput{
    "src/Core/Graph.cpp", 719, "isValidInput(parentNode(childNode), findInput(parentNode(childNode), parentInputName))",
    "Parent '%s' Child '%s'"};

// executablePath(): the system could not tell. No arguments.
constexpr FixedReport kExecutablePathUnknown{"src/Core/Core.cpp", 32, nullptr, "Could not obtain executablePath"};

} // namespace Reports

// Prints `*report` as one line on the critical channel, its message formatted
// from the remaining arguments (names as local 8-bit text). Returns normally.
// `report` must not be null (a pointer, as the last named parameter of a
// variable argument list cannot be a reference).
void report(const FixedReport* report, ...);

} // namespace Internal
} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_REPORTCATALOGUE_P_H
