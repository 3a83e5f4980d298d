// SPDX-License-Identifier: BSD-3-Clause
#include "jobs/MessageNames.h"
#include "python/src/Bindings.h"
#include "python/src/Failure.h"
#include "stream/Failure.h"

#include <string>
#include <utility>

namespace TEVRA::python {

namespace {

// Kept for the life of the process: translators may be called while the interpreter goes down.
PyObject* g_error = nullptr;
PyObject* g_cancelled = nullptr;

PyObject* new_exception(py::module_& module, const char* name, const char* documentation, PyObject* base) {
    const std::string fullName = std::string("tevra.") + name;
    PyObject* const type = PyErr_NewExceptionWithDoc(fullName.c_str(), documentation, base, nullptr);
    if (type == nullptr) {
        throw py::error_already_set();
    }
    module.attr(name) = py::handle(type);
    return type;
}

/// Files that are not finished yet are called by the names they will have.
void set_error(const std::string& message) {
    PyErr_SetString(g_error, jobs::WithNames(message).c_str());
}

void translate(std::exception_ptr failure) {
    try {
        std::rethrow_exception(std::move(failure));
    } catch (const CCancelledError& cancelled) {
        PyErr_SetString(g_cancelled, cancelled.what());
    } catch (const CArgumentError& wrong) {
        PyErr_SetString(PyExc_ValueError, wrong.what());
    } catch (const stream::CMemoryLimitError& limit) {
        set_error(std::string(limit.what()) + "; give more memory, fewer threads or larger subfields");
    } catch (const stream::CScratchError& scratch) {
        set_error(std::string(scratch.what()) + "; give another folder as scratch, or more memory");
    } catch (const py::builtin_exception&) {
        throw; // has an exception of Python's own
    } catch (const py::error_already_set&) {
        throw;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::invalid_argument&) {
        throw;
    } catch (const std::exception& failed) {
        set_error(failed.what());
    }
}

} // namespace

void BindFailures(py::module_& module) {
    g_error =
        new_exception(module, "Error", "The work could not be done; the message says why and what to do.",
                      PyExc_RuntimeError);
    g_cancelled = new_exception(module, "Cancelled", "The progress function has returned False.", g_error);
    py::register_exception_translator(&translate);
}

} // namespace TEVRA::python
