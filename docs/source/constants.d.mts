export * from '../../constants.js';
