// Starts setup-lsp for setup scripts and connects it to VS Code through
// vscode-languageclient (standard input and output).
'use strict';

const vscode = require('vscode');
const { LanguageClient, TransportKind } = require('vscode-languageclient/node');

let client;

function activate(context) {
  const config = vscode.workspace.getConfiguration('setupScript');
  const command = config.get('server.path', 'setup-lsp');
  const args = config.get('server.args', []);
  const server = { command, args, transport: TransportKind.stdio };
  client = new LanguageClient(
    'setupScript',
    'Setup Script (setup-lsp)',
    { run: server, debug: server },
    {
      documentSelector: [{ scheme: 'file', language: 'setup-script' },
                         { scheme: 'untitled', language: 'setup-script' }],
    });
  client.start().catch((error) => {
    vscode.window.showErrorMessage(
      `Cannot start setup-lsp ("${command}"): ${error.message}. ` +
      'Set setupScript.server.path to the program (build/release/setup-lsp).');
  });
  context.subscriptions.push({ dispose: () => client && client.stop() });
}

function deactivate() {
  return client ? client.stop() : undefined;
}

module.exports = { activate, deactivate };
