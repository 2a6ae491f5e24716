'use strict';
// The whole script surface: the sixteen classes in export order, each with its members in definition order. A
// property is written as [name, wrong value, text, kind, right value], where the kind says what a refused value
// is answered with; a name alone is a method or a property without a setter.

const kText = ['Value must be string', 7, 'a text'];
const kNumber = ['Value must be number', '7', 7];
const kFlag = ['Value must be boolean', 1, true];
const row = (name, [text, wrong, right]) => ({ name, text, wrong, right });

const connection = (...more) => [
  row('hostname', kText),
  row('port', kNumber),
  row('username', kText),
  row('password', kText),
  row('checkCertificateEnabled', kFlag),
  ...more,
];
const imapSettings = connection(
  row('OAuth2Token', kText),
  row('authType', kNumber),
  row('connectionType', kNumber),
  row('strictGost', kFlag),
);
const own = (name, text, wrong, right) => ({ name, text, wrong, right });
const readOnly = (name) => ({ name });
const method = (name) => ({ name, isMethod: true });
const methods = (names) => names.trim().split(/\s+/).map(method);

exports.classes = {
  Data: methods('length bytes base64String writeToFile'),
  ISMTPAsyncSession: [
    ...connection(
      row('OAuth2Token', kText),
      own('authType', 'Value must be number', '8', 8),
      row('connectionType', kNumber),
      row('strictGost', kFlag),
    ),
    ...methods('checkAccount sendMessage sendMessageOperation disconnect isDisconnected'),
  ],
  IMAPAsyncSession: [...imapSettings, method('fetchAllFolders')],
  IMAPFetchFoldersOperation: [method('folders')],
  IMAPSession: [
    ...imapSettings,
    ...methods(`disconnect disconnectAsync isDisconnected loginIfNeeded loginIfNeededAsync connectIfNeeded
      connectIfNeededAsync renameFolder createFolder createSpecialFolder deleteFolder subscribeFolder
      unsubscribeFolder fetchSubscribedFolders fetchAllFolders fetchAllFoldersAsync folderStatus
      folderStatusAsync moveMessages moveMessagesAsync fetchMessagesByUID fetchMessagesByUIDAsync
      fetchMessageByUID fetchMessageByUIDAsync fetchMessageByNumber isQResyncEnabled syncMessagesByUID
      syncMessagesByUIDAsync storeFlagsByUID storeFlagsByUIDAsync storeFlagsByNumber copyMessages
      appendMessage appendMessageAsync expunge expungeAsync capabilityMove capabilityCreateSpecialUse`),
  ],
  IMAPFolder: [row('path', kText), row('delimiter', ['Value must be string', 7, '/']), row('flags', kNumber), method('description')],
  IMAPFolderInfo: [
    row('uidNext', kNumber),
    row('uidValidity', kNumber),
    row('modSequenceValue', kNumber),
    row('messageCount', kNumber),
    row('firstUnseenUid', kNumber),
    own('allowsNewPermanentFlags', 'Value must be bool', 1, true),
  ],
  IMAPFolderStatus: [
    row('unseenCount', kNumber),
    row('messageCount', kNumber),
    row('recentCount', kNumber),
    row('uidNext', kNumber),
    row('uidValidity', kNumber),
    row('highestModSeqValue', kNumber),
    method('description'),
  ],
  IMAPMessage: [
    row('sequenceNumber', kNumber),
    row('uid', kNumber),
    row('size', kNumber),
    row('flags', kNumber),
    row('originalFlags', kNumber),
    ...methods('htmlRendering description'),
  ],
  MessageHeader: [
    own('messageID', 'messageId value must be string', 5, 'id@host'),
    own('inReplyTo', 'inReplyTo value must be Array', 'a@b', ['a@b']),
    own('references', 'references value must be Array', 'a@b', ['a@b', 'c@d']),
    own('date', 'date value must be Date', 1000, new Date(1000)),
    own('receivedDate', 'receivedDate value must be Date', '1970', new Date(2000)),
    own('sender', 'sender value must be String', null, 'a@b.example'),
    own('from', 'from value must be String', ['a@b'], 'a@b.example'),
    own('to', 'to value must be Array', 'a@b', ['a@b.example', 'c@d.example']),
    own('cc', 'cc value must be Array', null, ['a@b.example']),
    own('bcc', 'bcc value must be Array', undefined, ['a@b.example']),
    own('replyTo', 'replyTo value must be Array', {}, ['a@b.example']),
    own('subject', 'subject value must be String', null, 'Grüße'),
    own('userAgent', 'userAgent value must be String', 1, 'agent'),
    readOnly('extraHeaders'),
    ...methods('setExtraHeader removeExtraHeader extraHeaderValueForName'),
  ],
  MessageParser: [
    own('doNotDecrypt', 'doNotDecrypt value must be boolean', 'yes', true),
    own('keyUsagePolicy', 'keyUsagePolicy value must be string', 1, 'kupStrict'),
    ...`header mainPart attachments htmlInlineAttachments requiredPartsForRendering isSigned isEncrypted
      verifyResult signerCertificate extendedSignInfo decryptResult decryptMessage`.split(/\s+/).map(readOnly),
    ...methods(`SetTempFolder Read ReadAsync Import ImportAsync HtmlRendering HtmlBodyRendering PlainTextRendering
      PlainTextBodyRendering clear`),
  ],
  Attachment: [
    own('partId', 'partId value must be string', 1, '1.2'),
    { name: 'data', text: 'Invalid argument', wrong: 'text', right: Buffer.from('bytes'), isPlainError: true },
    readOnly('decodedString'),
    own('filename', 'filename value must be string', 1, 'a.txt'),
    own('mimeType', 'mimeType value must be string', 1, 'text/plain'),
    own('charset', 'charset value must be string', 1, 'utf-8'),
    own('uniqeID', 'uniqueId value must be string', 1, 'u1'),
    own('contentID', 'uniqueId value must be string', 1, 'c1'),
    own('contentLocation', 'uniqueId value must be string', 1, 'http://host/x'),
    own('contentDescription', 'uniqueId value must be string', 1, 'described'),
  ],
  MessageBuilder: [
    { name: 'header', text: 'Invalid argument', wrong: {}, isPlainError: true },
    own('htmlBody', 'htmlBody value must be string', 1, '<p>'),
    own('textBody', 'htmlBody value must be string', 1, 'text'),
    own('attachments', 'Attachments value must be array', {}, []),
    own('relatedAttachments', 'Attachments value must be array', 'x', []),
    own('boundaryPrefix', 'boundaryPrefix value must be string', 1, 'prefix'),
    readOnly('data'),
    own('keyUsagePolicy', 'keyUsagePolicy value must be string', 1, 'kupStrict'),
    ...methods(`addAttachments addRelatedAttachments getDataAsync Write WriteAsync SetSignerCert SetRecipientsCerts
      SetTempFolder`),
  ],
  IMAPSyncResult: ['modifiedOrAddedMessages', 'vanishedMessages'].map(readOnly),
  POPMessageInfo: [row('index', kNumber), row('uid', kText), row('size', kNumber), row('UID', kText)],
  POPSession: [
    ...connection(row('authType', kNumber), row('connectionType', kNumber), row('timeout', kNumber), row('strictGost', kFlag)),
    ...methods('connect login checkAccount fetchMessages fetchHeader fetchMessage deleteMessage noop disconnect'),
  ],
};
