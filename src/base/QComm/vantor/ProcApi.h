// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"

namespace vantor {

/// \brief Loads a module by its bare name through the system's ordinary library search.
/// \param name module name without folder and extension, ASCII ("vantor" is vantor.dll or libvantor.so)
/// \return the module's handle; null when it cannot be loaded. Each success raises the module's reference
/// count.
QCOMM_EXPORT void* LoadModule(const char* name);

/// \brief Finds an exported function of a loaded module; null when it has none of that name.
QCOMM_EXPORT void* FindSymbol(void* module, const char* symbol);

} // namespace vantor

template<typename Signature>
class ProcApi;

/// \brief One C function of a module that is loaded at run time.
///
/// Each wrapper loads the module by itself, so the module's reference count rises once per wrapper. It is
/// never unloaded: an engine once loaded stays in the process, because its threads may run until the process
/// exits.
///
/// \code
/// const ProcApi<void(const char*)> cancel("vantor", "Vantor_Cancel");
/// if (cancel.IsValid())
///     cancel(guid);
/// \endcode
template<typename Result, typename... Args>
class ProcApi<Result(Args...)>
{
public:
    /// The type of the resolved function.
    using Function = Result (*)(Args...);

    /// \brief Loads `moduleName` and resolves `symbolName` in it; what is missing leaves the wrapper invalid.
    ProcApi(const char* moduleName, const char* symbolName)
        : m_function(nullptr), m_module(vantor::LoadModule(moduleName))
    {
        if (m_module)
            m_function = reinterpret_cast<Function>(vantor::FindSymbol(m_module, symbolName));
    }

    /// \brief Leaves the module loaded.
    virtual ~ProcApi() = default;

    ProcApi(const ProcApi&) = delete;
    ProcApi& operator=(const ProcApi&) = delete;

    /// \brief Whether the function was found.
    bool IsValid() const { return m_function != nullptr; }

    /// \brief Calls the function; only when IsValid().
    Result operator()(Args... args) const { return m_function(args...); }

private:
    Function m_function;
    void* m_module;
};
