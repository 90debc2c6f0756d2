// SPDX-License-Identifier: MIT
#pragma once

#include <QHash>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVector>

#include <windows.h>

#include <objbase.h>
#include <wbemcli.h>

/// \file
/// The part of WMI that a query needs, with rows of the test's choice, and of COM around it. What it is asked for is
/// noted in order, and so is how many references are still held when COM is left.

/// \brief An object of which only the references are counted; tests own it.
template<typename Interface>
class Counted : public Interface
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override { return --m_references; }
    int references() const { return static_cast<int>(m_references); }

private:
    ULONG m_references = 0;
};

/// \brief A row: text, number or nothing for each property.
class FakeRow final : public Counted<IWbemClassObject>
{
public:
    QHash<QString, QVariant> properties;

    HRESULT STDMETHODCALLTYPE Get(LPCWSTR name, LONG, VARIANT* value, CIMTYPE*, LONG*) override
    {
        const auto found = properties.constFind(QString::fromWCharArray(name));
        if (found == properties.constEnd())
            return static_cast<HRESULT>(WBEM_E_NOT_FOUND);
        VariantInit(value);
        if (found->type() == QVariant::String) {
            V_VT(value) = VT_BSTR;
            V_BSTR(value) = SysAllocString(found->toString().toStdWString().c_str());
        } else if (found->isValid()) {
            V_VT(value) = VT_I4;
            V_I4(value) = found->toInt();
        } else {
            V_VT(value) = VT_NULL;
        }
        return WBEM_S_NO_ERROR;
    }

    // clang-format off
    HRESULT STDMETHODCALLTYPE GetQualifierSet(IWbemQualifierSet**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Put(LPCWSTR, LONG, VARIANT*, CIMTYPE) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Delete(LPCWSTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetNames(LPCWSTR, LONG, VARIANT*, SAFEARRAY**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE BeginEnumeration(LONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Next(LONG, BSTR*, VARIANT*, CIMTYPE*, LONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE EndEnumeration() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetPropertyQualifierSet(LPCWSTR, IWbemQualifierSet**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Clone(IWbemClassObject**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetObjectText(LONG, BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SpawnDerivedClass(LONG, IWbemClassObject**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SpawnInstance(LONG, IWbemClassObject**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE CompareTo(LONG, IWbemClassObject*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetPropertyOrigin(LPCWSTR, BSTR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE InheritsFrom(LPCWSTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetMethod(LPCWSTR, LONG, IWbemClassObject**, IWbemClassObject**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE PutMethod(LPCWSTR, LONG, IWbemClassObject*, IWbemClassObject*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE DeleteMethod(LPCWSTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE BeginMethodEnumeration(LONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE NextMethod(LONG, BSTR*, IWbemClassObject**, IWbemClassObject**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE EndMethodEnumeration() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetMethodQualifierSet(LPCWSTR, IWbemQualifierSet**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetMethodOrigin(LPCWSTR, BSTR*) override { return E_NOTIMPL; }
    // clang-format on
};

/// \brief The answer to a query: hands its rows out one by one.
class FakeRows final : public Counted<IEnumWbemClassObject>
{
public:
    QVector<FakeRow*> rows;
    QStringList asked; ///< "timeout/count" of each Next()

    HRESULT STDMETHODCALLTYPE Next(LONG timeout, ULONG count, IWbemClassObject** objects, ULONG* returned) override
    {
        asked.append(QStringLiteral("%1/%2").arg(timeout).arg(count));
        *returned = 0;
        if (m_position == rows.size())
            return WBEM_S_FALSE;
        FakeRow* const row = rows.at(m_position++);
        row->AddRef();
        objects[0] = row;
        *returned = 1;
        return WBEM_S_NO_ERROR;
    }

    // clang-format off
    HRESULT STDMETHODCALLTYPE Reset() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE NextAsync(ULONG, IWbemObjectSink*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Clone(IEnumWbemClassObject**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Skip(LONG, ULONG) override { return E_NOTIMPL; }
    // clang-format on

private:
    int m_position = 0;
};

class FakeServices final : public Counted<IWbemServices>
{
public:
    HRESULT result = WBEM_S_NO_ERROR;
    FakeRows* rows = nullptr;
    QStringList queries; ///< "language: query"

    HRESULT STDMETHODCALLTYPE ExecQuery(const BSTR language, const BSTR query, LONG, IWbemContext*,
                                        IEnumWbemClassObject** answer) override
    {
        queries.append(QString::fromWCharArray(language) + QStringLiteral(": ") + QString::fromWCharArray(query));
        if (FAILED(result))
            return result;
        rows->AddRef();
        *answer = rows;
        return result;
    }

    // clang-format off
    using Object = IWbemClassObject;
    using Result = IWbemCallResult;
    using Context = IWbemContext;
    using Sink = IWbemObjectSink;
    HRESULT STDMETHODCALLTYPE OpenNamespace(const BSTR, LONG, Context*, IWbemServices**, Result**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE CancelAsyncCall(Sink*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE QueryObjectSink(LONG, Sink**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetObject(const BSTR, LONG, Context*, Object**, Result**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetObjectAsync(const BSTR, LONG, Context*, Sink*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE PutClass(Object*, LONG, Context*, Result**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE PutClassAsync(Object*, LONG, Context*, Sink*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE DeleteClass(const BSTR, LONG, Context*, Result**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE DeleteClassAsync(const BSTR, LONG, Context*, Sink*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE CreateClassEnum(const BSTR, LONG, Context*, IEnumWbemClassObject**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE CreateClassEnumAsync(const BSTR, LONG, Context*, Sink*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE PutInstance(Object*, LONG, Context*, Result**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE PutInstanceAsync(Object*, LONG, Context*, Sink*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE DeleteInstance(const BSTR, LONG, Context*, Result**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE DeleteInstanceAsync(const BSTR, LONG, Context*, Sink*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE CreateInstanceEnum(const BSTR, LONG, Context*, IEnumWbemClassObject**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE CreateInstanceEnumAsync(const BSTR, LONG, Context*, Sink*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE ExecQueryAsync(const BSTR, const BSTR, LONG, Context*, Sink*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE ExecNotificationQuery(const BSTR, const BSTR, LONG, Context*, IEnumWbemClassObject**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE ExecNotificationQueryAsync(const BSTR, const BSTR, LONG, Context*, Sink*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE ExecMethod(const BSTR, const BSTR, LONG, Context*, Object*, Object**, Result**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE ExecMethodAsync(const BSTR, const BSTR, LONG, Context*, Object*, Sink*) override { return E_NOTIMPL; }
    // clang-format on
};

class FakeLocator final : public Counted<IWbemLocator>
{
public:
    HRESULT result = WBEM_S_NO_ERROR;
    FakeServices* services = nullptr;
    QStringList namespaces;

    HRESULT STDMETHODCALLTYPE ConnectServer(const BSTR name, const BSTR, const BSTR, const BSTR, LONG, const BSTR,
                                            IWbemContext*, IWbemServices** answer) override
    {
        namespaces.append(QString::fromWCharArray(name));
        if (FAILED(result))
            return result;
        services->AddRef();
        *answer = services;
        return result;
    }
};
