"""Reads message files with the strict policy of Python's email package, which raises at the first
defect, and prints one line of JSON for each."""
import base64
import email
import email.policy
import json
import sys


def addresses(message, header):
    field = message[header]
    return [[a.display_name, a.addr_spec] for a in field.addresses] if field else []


for path in sys.argv[1:]:
    with open(path, "rb") as file:
        message = email.message_from_binary_file(file, policy=email.policy.strict)
    parts = list(message.walk())
    attachments = [part for part in parts if part.get_content_disposition() == "attachment"]
    texts = {part.get_content_type(): part.get_content() for part in parts
             if part.get_content_maintype() == "text" and part not in attachments}
    defects = [repr(d) for part in parts for d in part.defects]
    defects += [repr(d) + str(field) for part in parts for field in part.values() for d in getattr(field, "defects", [])]
    print(json.dumps({
        "structure": [part.get_content_type() for part in parts if part not in attachments],
        "headers": sorted(key.lower() for key in message.keys()),
        "subject": message["Subject"],
        "to": addresses(message, "To"),
        "cc": addresses(message, "Cc"),
        "bcc": addresses(message, "Bcc"),
        "plain": texts.get("text/plain"),
        "html": texts.get("text/html"),
        "names": [part.get_filename() for part in attachments],
        "typeNames": [part.get_param("name") and part["Content-Type"].params["name"]
                      for part in attachments],
        "types": [part.get_content_type() for part in attachments],
        "contents": [base64.b64encode(part.get_payload(decode=True)).decode()
                     for part in attachments],
        "defects": defects,
    }))
