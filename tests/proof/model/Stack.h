#pragma once

#include "World.h"
#include "WrapperModel.h"

namespace Korvel::PDF::Test {

enum class Wrapper { TempFile, Unencrypt };

/** Wrappers around each other, the innermost first; there is one at least. */
using Shape = std::vector<Wrapper>;

/** A stack of wrappers around the fake converter of a world: the real one, or its model. */
class Stack
{
public:
    virtual ~Stack() = default;

    /** Makes the wrappers; after an exception of theirs, which leaves nothing behind, once more. */
    virtual void Build() = 0;

    virtual bool ConvertFile(const Task& task) = 0;
    virtual bool CancelConvertation() = 0;
    virtual Formats GetSupportedFormats() const = 0;
    virtual bool DoesServiceAvailable() = 0;

    /** The fake converter emits. */
    virtual void Emit(const Emission& emission) = 0;

    /** The fake converter emits on another thread. */
    virtual void EmitElsewhere(const Emission& emission) = 0;

    /** The event loop delivers what was emitted elsewhere until now. */
    virtual void DeliverQueued() = 0;

    /** The caller gives the outermost wrapper up. */
    virtual void Destroy() = 0;

    /** Called with each signal that the caller receives, as ReceiveAll reports it. */
    std::function<void(const std::string& line)> onReceived;
};

/** A stack that is still to be built; `world` has to live until then. */
using MakeStack = std::unique_ptr<Stack>(const World& world, const Shape& shape, int verbosity);

MakeStack MakeRealStack;
MakeStack MakeModelStack;

} // namespace Korvel::PDF::Test
