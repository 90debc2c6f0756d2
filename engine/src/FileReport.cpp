// SPDX-License-Identifier: MIT
#include "FileReport.h"

#include "Json.h"

namespace VantorEngine {

namespace {

constexpr int kUsualObjectBytes = 768;

const QByteArray& fixedPart(FileState& state)
{
    if (state.fixedPart.isEmpty()) {
        state.fixedPart.append('{');
        appendJsonMember(state.fixedPart, "guid", state.guid);
        appendJsonMember(state.fixedPart, "group_guid", state.groupGuid);
        appendJsonMember(state.fixedPart, "url", state.url);
    }
    return state.fixedPart;
}

void appendServer(QByteArray& out, const FileState& state)
{
    appendJsonMember(out, "remote_address", state.remoteAddress);
    appendJsonKey(out, "canonical_name");
    out.append('[');
    if (!state.hostName.isEmpty()) {
        appendJsonString(out, state.hostName);
    }
    out.append(']');
    // There is no peer-assisted delivery in this engine.
    appendJsonMember(out, "pcdn_alias", "");
    appendJsonMember(out, "using_pcdn", false);
}

void appendResponse(QByteArray& out, const ResponseInfo& response)
{
    if (response.status == 0) {
        return;
    }
    appendJsonKey(out, "url_response_info");
    out.append('{');
    appendJsonMember(out, "http_status_code", static_cast<qint64>(response.status));
    appendJsonKey(out, "http_header");
    out.append(response.headersJson).append('}');
}

void appendError(QByteArray& out, const FileError& error)
{
    const char* key = errorKey(error.kind);
    if (key == nullptr) {
        return;
    }
    appendJsonKey(out, key);
    out.append('{');
    appendJsonMember(out, "error_code", static_cast<qint64>(error.code));
    appendJsonMember(out, "internal_error_code", static_cast<qint64>(error.internalCode));
    appendJsonMember(out, "message", error.message);
    out.append('}');
}

} // namespace

void appendFileObject(QByteArray& out, FileState& state, Detail detail)
{
    out.append(fixedPart(state));
    appendJsonMember(out, "status", statusName(state.status));
    appendJsonMember(out, "completed", state.completed);
    appendJsonMember(out, "size", state.size);
    appendJsonMember(out, "existing_byte_count", state.existing);
    appendJsonMember(out, "written_byte_count", state.written);
    appendJsonMember(out, "verified_byte_count", state.verified);
    appendJsonMember(out, "verified_speed_byte", state.verifiedSpeed);
    appendJsonMember(out, "bandwidth_byte", state.bandwidth);
    appendJsonMember(out, "current_retry_times", static_cast<qint64>(state.retries));
    appendServer(out, state);
    if (detail == Detail::Full || state.error.kind != FileError::Kind::None) {
        appendResponse(out, state.response);
    }
    appendError(out, state.error);
    out.append('}');
}

QByteArray singleTaskText(FileState& state)
{
    QByteArray text;
    text.reserve(kUsualObjectBytes);
    appendFileObject(text, state, Detail::Full);
    return text;
}

} // namespace VantorEngine
